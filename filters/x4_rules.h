/// The keys of X4 rules.
#pragma once

#include <cstdint>

#include "commands/arguments.h"

namespace zwmgmt {

/// The present bits that say which packets a rule is for, not what becomes of them.
inline constexpr uint32_t kX4Criteria = 0xB80FFFF;

/// Location and id first, which are all that deleting takes.
std::span<const Argument> X4Arguments();

/// Whether agents take a value and its mask, which is all ones where none was given.
bool IsHeeded(const Argument& row, uint32_t value, uint32_t mask);

}  // namespace zwmgmt
