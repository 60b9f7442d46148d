/// "policy check|explain|diff|fmt FILE": what a policy file does, without any agent.
#pragma once

#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "output/json.h"
#include "policies/policy_text.h"

namespace zwcli {

/// words: what follows "policy".
ExitStatus PolicyCommand(const Options& options, const std::vector<std::string>& words);

/// A file of the command line, and what to call it.
struct NamedText {
    std::string name;
    std::string text;
};

/// What a policy command answers: lines for people, or one JSON object for programs, into whose
/// "result" goes what the command has to say.
class PolicyOutput {
  public:
    PolicyOutput(const Options& options, const std::string& command);

    bool IsJson() const { return is_json; }
    zwmgmt::JsonWriter& Json() { return json; }
    void AddText(const char* key, const std::string& text);
    void AddNumber(const char* key, uint64_t number);
    void AddFlag(const char* key, bool on);

    /// In "messages", or on standard error.
    void Complain(const std::string& text);

    /// Reads a file; false after saying why that does not go.
    bool Read(const char* file, NamedText* read);

    /// Reads a policy whose rules are all right; false after showing each that is not. No rule at
    /// all is an error, or a warning.
    enum class NoRules { kRefused, kAllowed };
    bool ReadPolicy(const char* file, NoRules no_rules, NamedText* read);

    /// Shows what is wrong at a place of a file. A JSON array is open.
    void ShowFault(const NamedText& file, size_t rule, zwmgmt::policy::Place place,
                   const std::string& reason, const zwmgmt::policy::MarkedLine& marked);

    /// Ends the answer; the exit status is the caller's result.
    ExitStatus End(ExitStatus status);

  private:
    std::string piece;
    zwmgmt::TextSink sink;
    zwmgmt::JsonWriter json;
    const bool is_json;
    bool input_is_read = false;
    std::vector<std::string> messages;
};

/// "1 rule", "2 rules".
std::string Counted(size_t count, const char* noun);

/// A command of its own file; words: what follows its own word.
ExitStatus CheckPolicy(PolicyOutput& output, const Options& options,
                       const std::vector<const char*>& words);
ExitStatus ExplainPolicy(PolicyOutput& output, const Options& options,
                         const std::vector<const char*>& words);
ExitStatus DiffPolicies(PolicyOutput& output, const Options& options,
                        const std::vector<const char*>& words);
ExitStatus FormatPolicy(PolicyOutput& output, const Options& options,
                        const std::vector<const char*>& words);

}  // namespace zwcli
