/// The command line of korvane_zwcli: options first-class, the command as words.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zwcli {

/// How answers are printed.
enum class Format { kText, kJson, kJsonLines, kCsv, kTable };

struct Options {
    std::string host = "127.0.0.1";
    uint16_t port = 35001;
    std::optional<std::string> user;           // default: the local user
    std::optional<std::string> password_file;  // "-": standard input
    bool help = false;                         // of the words
    bool wait = false;                         // until what runs in the background has an outcome
    Format format = Format::kText;
    std::string fields;              // names, separated by commas; "": those the agent fills
    std::vector<std::string> words;  // SERVICE COMMAND [SUBCOMMAND] [key=value ...]
};

/// Fills the options, or returns the exit status with which to stop at once (help, version, usage
/// error; said on standard output or error).
std::optional<int> ParseOptions(int argc, const char* const* argv, Options* options);

}  // namespace zwcli
