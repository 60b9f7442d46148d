/// One counter of an adapter or a port: a record of the replies to "korvane getcardstats" and
/// "korvane getportstats", and what asks for the latter.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// Filled by the agent.
struct VqStat {
    uint8_t kind;   ///< 1 or 2
    char name[30];  ///< NUL-padded, not always terminated
    uint64_t value;
    VqStat* next;  ///< null in the last one
};

/// The request for a port's counters.
struct PortStatisticsRequest {
    uint8_t reserved0[9];
    char pci_bus_location[16];
    uint32_t port_instance;
    uint8_t reserved29[211];
};

#pragma pack(pop)

static_assert(sizeof(VqStat) == 47 && offsetof(VqStat, name) == 1 &&
              offsetof(VqStat, value) == 31 && offsetof(VqStat, next) == 39);
static_assert(sizeof(PortStatisticsRequest) == 240 &&
              offsetof(PortStatisticsRequest, pci_bus_location) == 9 &&
              offsetof(PortStatisticsRequest, port_instance) == 25);
