/// Pings and trace routes of a simulated host: one at a time, in the background.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "simulator/host_model.h"
#include "zwmgmt/records/net.h"

namespace zmsim {

class Probes {
  public:
    /// The answer to an opcode of the net service; nothing for one that it does not know.
    std::optional<Reply> Answer(uint16_t opcode, std::span<const uint8_t> data);

  private:
    Reply Start(uint16_t opcode, std::span<const uint8_t> data);
    Reply PingResult() const;
    Reply TraceRouteResult() const;

    uint16_t started = 0;  // the opcode; 0: nothing was
    bool running = false;  // until the result is asked for once
    PingRequest request = {};
};

}  // namespace zmsim
