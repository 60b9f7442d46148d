/// Counters as what they grow by in a second, from one answer to the next.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "api/result_parts.h"

namespace zwcli {

/// What a counter has grown by in a second, rounded up: 0 is one that stood still. Nothing for one
/// that began anew in between.
std::optional<uint64_t> PerSecond(uint64_t before, uint64_t after,
                                  std::chrono::microseconds between);

bool HasCounters(const zwmgmt::Description& what);

class Rates {
  public:
    using Clock = std::chrono::steady_clock;

    /// From the second answer on, turns the counters of its records into rates. Returns the
    /// milliseconds since the answer before; 0: there was none.
    uint32_t Take(zwmgmt::ResultParts& answer, Clock::time_point at);

  private:
    /// A record is known by its fields that are no counters, and as the how manieth of those.
    using Name = std::pair<std::string, size_t>;

    std::map<std::pair<Name, const zwmgmt::Field*>, uint64_t> before;
    Clock::time_point taken;
};

}  // namespace zwcli
