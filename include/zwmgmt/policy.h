/// Offload policies: text to records and back, and what a compiled filter matches. docs/policy.md
/// describes the language.
///
/// Nothing here needs a connection. No operation throws but for those that return a text, which may
/// throw std::bad_alloc. A program may use one object per thread.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "zwmgmt/export.h"
#include "zwmgmt/records/policy.h"

/// Compiles filter expressions.
class ZWMGMT_API Classifier {
  public:
    Classifier() noexcept;
    ~Classifier();
    Classifier(const Classifier&) = delete;
    Classifier& operator=(const Classifier&) = delete;

    /// One rule, "EXPRESSION => SETTINGS". rule_number: for messages, from 1. On false Error() says
    /// why; it says nothing when memory ran out.
    bool Compile(std::string_view rule, size_t rule_number, std::vector<PolicyInstruction>* program,
                 PolicySettings* settings) noexcept;

    /// "rule 2: unexpected 'prot' (column 5: 'prot')"; "" after a success.
    [[nodiscard]] const char* Error() const noexcept;

    /// The same in parts: what is wrong, at which characters of the rule. Columns count from 1;
    /// column 0 means the whole rule, and length 0 its end.
    struct Reason {
        const char* text;  ///< as in Error(); valid until the next rule is compiled
        size_t column;     ///< in bytes, from 1
        size_t length;     ///< in bytes
    };
    /// Why the last rule was refused; the text is "" after a success.
    [[nodiscard]] Reason WhyNot() const noexcept;

    /// Whether a connection matches a program of `count` instructions. Arbitrary instructions are
    /// fine: a program that goes nowhere matches nothing.
    static bool Matches(const PolicyInstruction* program, size_t count,
                        const PolicyFields& connection) noexcept;

    /// The test of an instruction as an expression of the language.
    static std::string TestText(const PolicyInstruction& instruction);

  private:
    struct ZWMGMT_LOCAL Stages;
    Stages* stages;
};

/// Turns policies into records and back.
class ZWMGMT_API ParsePolicy {
  public:
    /// Messages go to the stream as well; null: standard output.
    explicit ParsePolicy(FILE* message_stream = nullptr) noexcept : stream(message_stream) {}
    ParsePolicy(const ParsePolicy&) = delete;
    ParsePolicy& operator=(const ParsePolicy&) = delete;

    /// From now on the reasons are in *error alone.
    void PrintNothing() noexcept { prints = false; }

    /// Rules separated by line ends or ";". Appends a record for each, with interface name and
    /// index 0. Returns 0, or 1 with the reason in *error and printed; records of earlier rules may
    /// have been appended then.
    int ParsePolicyString(const char* text, const char* interface_name,
                          std::vector<_OfldPolicy>* policies, std::string* error) noexcept;

    /// The same for a file, in which a line that begins with a blank continues the rule before it.
    /// 1 without a message when the file cannot be read. The records take 502 bytes a rule.
    int ParsePolicyFile(const char* file_name, const char* interface_name,
                        std::vector<_OfldPolicy>* policies, std::string* error) noexcept;

    /// The same for rules already separated.
    int build_policy_vector(const std::vector<std::string>& rules, const char* interface_name,
                            std::vector<_OfldPolicy>* policies, std::string* error) noexcept;

    /// A record as text, which compiles to the same settings and to the same program, or to one
    /// that accepts the same connections. A record that no text compiles to gets a comment that
    /// says so, or "(no program)". Returns 0, or 1 without memory.
    static int ParsePolicyStructure(const _OfldPolicy& policy, std::string* text) noexcept;

    /// The settings alone, as a rule has them behind "=>".
    static std::string SettingsText(const PolicySettings& settings);

  private:
    int AppendAll(std::string_view text, bool continued, const char* interface_name,
                  std::vector<_OfldPolicy>* policies, std::string* error) noexcept;
    bool NameFits(const char* interface_name, std::string* error);
    bool Append(std::string_view rule, size_t number, const char* interface_name,
                std::vector<_OfldPolicy>* policies, std::string* error);

    void Print(const std::string& error) const;

    FILE* stream;
    bool prints = true;
    Classifier classifier;
    std::vector<PolicyInstruction> program;  // of the last rule
};
