/// What can stand at the end of a line of commands. Knows neither terminal nor line editor.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {

/// The whole word; one that ends in '=' or '/' goes on.
struct Candidate {
    std::string word;
    std::string about = "";  // in a few words; or ""
};

/// What can stand where a word is typed.
struct Candidates {
    std::vector<Candidate> words;
    std::optional<std::string> files_behind = {};  // names of files, too, behind this beginning
};

/// Of a listing: a row a record, with the texts of the fields asked for.
using Rows = std::vector<std::vector<std::string>>;

struct CompletionSources {
    std::vector<std::string> usages;  // of the commands that are no service's
    uint8_t agent_os = 0;             // whose keys are offered; 0: all agents'
    /// Answers the words of a command; null where there is no agent.
    std::function<Rows(const std::vector<std::string>& words,
                       const std::vector<std::string>& fields)>
        ask = nullptr;
    std::vector<Candidate> hosts = {};   // that are known
    std::vector<Candidate> groups = {};  // of hosts, as sets name them ("@web")
};

/// A line up to the cursor, taken apart.
struct TypedLine {
    explicit TypedLine(std::string_view line);

    std::vector<std::string> words;  // before the one that is typed
    std::string typed;               // "" where a new one begins
    size_t begin = 0;                // of it in the line
    bool is_comment = false;
};

/// What can follow the words of a command, and goes on as `typed` begins.
Candidates FindCandidates(const std::vector<std::string>& words, const std::string& typed,
                          const CompletionSources& sources);

/// The same for the value that help shows as "FILE", "HOST", "SET" or "json|csv", behind `before`,
/// with which the word begins ("--format=").
Candidates FindValues(std::string_view shown, const std::string& before, const std::string& typed,
                      const CompletionSources& sources);

/// Of a prompt, where nobody else completes names of files.
struct Completion {
    size_t begin = 0;                     // of the word in the line that the candidates stand for
    std::vector<std::string> candidates;  // quoted
};

/// line: up to the cursor.
Completion Complete(std::string_view line, const CompletionSources& sources);

/// Asks on a session, and prints nothing; no rows where there is no listing to be had.
Rows AskForRows(ZwMgmt_interface& session, char* result_buffer,
                const std::vector<std::string>& words, const std::vector<std::string>& fields);

}  // namespace zwcli
