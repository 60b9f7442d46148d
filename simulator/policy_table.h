/// The offload policies of a simulated host.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/host_model.h"
#include "simulator/scenario.h"
#include "zwmgmt/records/policy.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

class PolicyTable {
  public:
    /// The host's adapters and drivers outlive the table.
    explicit PolicyTable(const Scenario& host_scenario) : scenario(host_scenario) {}

    /// The answer to an opcode of the tm service; nothing for one that it does not know.
    std::optional<agent::Reply> Answer(uint16_t opcode, std::span<const uint8_t> data);

  private:
    agent::Reply Change(uint16_t opcode, std::span<const uint8_t> data);
    agent::Reply List() const;

    const Scenario& scenario;
    std::map<std::string, std::vector<_OfldPolicy>> policies;  // by interface name
};

}  // namespace zmsim
