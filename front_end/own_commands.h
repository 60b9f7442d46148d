/// The commands of the front end itself, a row each. They are no requests of the library's.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"

namespace zwcli {

struct OwnCommand {
    const char* word;
    const char* help;  // lines of usage, each with what it does in indented lines below
    /// words: what follows the command's own.
    ExitStatus (*run)(const Options& options, const std::vector<std::string>& words);
};

std::span<const OwnCommand> OwnCommands();

/// The command that the word names; null when it names none.
const OwnCommand* FindOwnCommand(const std::string& word);

/// All lines of usage.
std::vector<std::string> Usages();

/// The lines of usage that begin with these words ("policy check").
std::string UsageOf(const std::string& words);

}  // namespace zwcli
