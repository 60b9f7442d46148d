/// The keys of each command, with what they take: for help, for suggestions, and for what is said
/// of a refused value. They come from the rows by which requests are built.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "commands/arguments.h"

namespace zwmgmt {

struct CommandKey {
    const char* word;
    int key;
    OsSet agents;               // that heed it
    std::string takes;          // "0 or 1"
    const char* adapters = "";  // that have it: " (X3)"
    std::string need = {};      // " (required)"
    uint32_t bit = 0;           // of the request's mask, which other keys may share
};

using CommandKeys = std::vector<CommandKey>;

/// Empty for a command that takes none, or that has no handler. One key may have several rows, for
/// different agents; those that the command cannot do without come first.
CommandKeys KeysOfCommand(uint16_t command);

/// The request of a command; null for one that is built by hand.
const RequestForm* FindRequestForm(uint16_t command);

/// The requests of the families.
std::span<const RequestForm* const> InventoryForms();
std::span<const RequestForm* const> PropertyForms();
std::span<const RequestForm* const> DriverForms();
std::span<const RequestForm* const> InstallForms();
std::span<const RequestForm* const> FilterForms();
std::span<const RequestForm* const> PolicyForms();
std::span<const RequestForm* const> NetForms();

}  // namespace zwmgmt
