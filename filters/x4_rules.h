/// What there is to say of the keys of X4 rules.
#pragma once

#include <cstdint>

namespace zwmgmt {

/// The present bits that say which packets a rule is for, not what becomes of them.
inline constexpr uint32_t kX4Criteria = 0xB80FFFF;

}  // namespace zwmgmt
