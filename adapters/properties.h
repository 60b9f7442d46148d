/// The settable properties of cards and ports: one row a key, for the agents that know it. Request
/// builders, help and the simulated agent read the same rows.
#pragma once

#include <cstdint>
#include <span>

#include "commands/arguments.h"

namespace zwmgmt {

/// In the order in which help lists them; offsets are those in CardSettings and PortSettings.
std::span<const Argument> CardProperties();
std::span<const Argument> PortProperties();

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
