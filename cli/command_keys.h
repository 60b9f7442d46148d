/// The keys of each command, with what they take: for help, for suggestions, and for what is said
/// of a refused value. The families that have tables of keys derive their rows from them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "session/os_set.h"

namespace zwmgmt {

struct CommandKey {
    const char* word;
    int key;
    OsSet agents;               // that heed it
    std::string takes;          // "0 or 1"
    const char* adapters = "";  // that have it: " (X3)"
    uint32_t bit = 0;           // of the request's mask, which other keys may share
};

using CommandKeys = std::vector<CommandKey>;

/// Empty for a command that takes none, or that has no handler. One key may have several rows, for
/// different agents.
CommandKeys KeysOfCommand(uint16_t command);

/// The rows of families.
void AddInstallKeys(CommandKeys* keys);
void AddX3Keys(CommandKeys* keys);
void AddX4Keys(CommandKeys* keys);

/// "pass, drop"
std::string WordList(std::span<const std::string_view> words);

/// "0 or 1", "1 to 250".
std::string RangeText(int64_t least, int64_t most);

}  // namespace zwmgmt
