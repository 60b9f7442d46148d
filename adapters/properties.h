/// The settable properties of cards and ports: one row a key, for the agents that know it. Request
/// builders, help and the simulated agent read the same rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "adapters/chips.h"
#include "session/os_set.h"

namespace zwmgmt {

/// How a value becomes bytes of the settings.
enum class Form {
    kText,         // at most the field; the rest of it is zero
    kFlag,         // one digit, and a terminator
    kNumber,       // must fit into the field
    kLowByte,      // the number's low byte, which is also what the rule judges
    kLow16,        // the number's low 16 bits
    kNumberText,   // the number as decimal text
    kNothing,      // the bit of the mask says it all
    kSpeedDuplex,  // "auto" or SPEED-half, SPEED-full
    kAdvertise,    // link modes, separated by "|"
};

/// What the number must be. Without a message the agent judges: the range is what help says, and
/// 0 to 0 stands for what the form alone tells.
struct Rule {
    int64_t least = 0;
    int64_t most = 0;
    const char* message = nullptr;
};

struct Property {
    OsSet systems;  // the request builder sends it to these
    OsSet heeded;   // help shows it for these: of one bit of the mask they read this property
    const char* word;
    int key;
    size_t offset;  // in CardSettings or PortSettings
    size_t width;   // bytes
    bool is_signed;
    Form form;
    uint32_t bit;
    Rule rule;
    Chips chips;  // bits are used twice: agents read them by the adapter's generation
};

/// In the order in which help lists them.
std::span<const Property> CardProperties();
std::span<const Property> PortProperties();

/// The row of a key for agents of an OS; null when they do not know it.
const Property* FindProperty(std::span<const Property> table, uint8_t os_type, int key);

/// What the value may be, in words.
std::string TakenBy(const Property& property);

/// Whether agents of this OS know any property of the table.
bool Knows(std::span<const Property> table, uint8_t os_type);

/// A link mode that a port can advertise.
struct LinkMode {
    const char* word;
    uint32_t bits;
};

inline constexpr LinkMode kLinkModes[] = {
    {"10baseT/Half", 0x1},       {"10baseT/Full", 0x2},    {"100baseT/Half", 0x4},
    {"100baseT/Full", 0x8},      {"1000baseT/Half", 0x10}, {"1000baseT/Full", 0x20},
    {"10000baseT/Full", 0x1000}, {"auto", 0x3F},
};

}  // namespace zwmgmt
