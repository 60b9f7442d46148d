/// One counter of an adapter or a port: a record of the replies to "korvane getcardstats" and
/// "korvane getportstats".
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// Filled by the agent.
struct VqStat {
    uint8_t kind;    ///< 1 or 2
    char name[30];   ///< the counter's; NUL-padded, not always terminated
    uint64_t value;  ///< counts up
    VqStat* next;    ///< null in the last one
};

#pragma pack(pop)

static_assert(sizeof(VqStat) == 47 && offsetof(VqStat, name) == 1 &&
              offsetof(VqStat, value) == 31 && offsetof(VqStat, next) == 39);
