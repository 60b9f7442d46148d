/// What can stand at the end of a line of commands. Knows neither terminal nor line editor.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {

struct Completion {
    size_t begin = 0;                     // of the word in the line that the candidates stand for
    std::vector<std::string> candidates;  // quoted; a word that ends in '=' or '/' goes on
};

/// Of a listing: a row a record, with the texts of the fields asked for.
using Rows = std::vector<std::vector<std::string>>;

struct CompletionSources {
    std::vector<const char*> first_words;  // beside the services
    uint8_t agent_os = 0;                  // whose keys are offered; 0: all agents'
    /// Answers the words of a command; null where there is no agent.
    std::function<Rows(const std::vector<std::string>& words,
                       const std::vector<std::string>& fields)>
        ask = nullptr;
};

/// line: up to the cursor.
Completion Complete(std::string_view line, const CompletionSources& sources);

/// Asks on a session, and prints nothing; no rows where there is no listing to be had.
Rows AskForRows(ZwMgmt_interface& session, char* result_buffer,
                const std::vector<std::string>& words, const std::vector<std::string>& fields);

}  // namespace zwcli
