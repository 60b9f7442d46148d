/// Pings and trace routes of a simulated host: one at a time, in the background.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "agent/host_model.h"
#include "zwmgmt/records/net.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

class Probes {
  public:
    /// The answer to an opcode of the net service; nothing for one that it does not know.
    std::optional<agent::Reply> Answer(uint16_t opcode, std::span<const uint8_t> data);

  private:
    agent::Reply Start(uint16_t opcode, std::span<const uint8_t> data);
    agent::Reply PingResult() const;
    agent::Reply TraceRouteResult() const;

    uint16_t started = 0;  // the opcode; 0: nothing was
    bool running = false;  // until the result is asked for once
    PingRequest request = {};
};

}  // namespace zmsim
