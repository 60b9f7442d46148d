/// The keys of X3 rules.
#pragma once

#include <cstdint>

#include "commands/arguments.h"

namespace zwmgmt {

/// The present bits that say which packets a rule is for, not what becomes of them.
inline constexpr uint32_t kX3Criteria = 0x1FF;
inline constexpr Rule kX3PrefixLengths = {0, 32};

/// Interface name and id first, which are all that deleting takes.
std::span<const Argument> X3Arguments();

/// Beside them, what only the rule table has.
std::span<const Argument> X3AllArguments();

/// Interface name and size of its rule table.
std::span<const Argument> X3TableArguments();

}  // namespace zwmgmt
