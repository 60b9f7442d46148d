/// The filter service of a host.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "agent/filter_rules.h"
#include "agent/host_model.h"
#include "zwmgmt/records/filter.h"

namespace zwmgmt::agent {

/// Reads and checks the service's requests, and packs its lists; the rules are the host's.
class FilterService {
  public:
    virtual ~FilterService() = default;

    /// The answer to an opcode; nothing for one that the service does not have.
    std::optional<Reply> Answer(uint16_t opcode, std::span<const uint8_t> data);

  private:
    virtual Reply Change(RuleChange change, const _Filter& sound) = 0;
    virtual Reply Change(RuleChange change, const _FilterX4& sound) = 0;
    /// Adds the rules of all interfaces.
    virtual Reply List(std::vector<_Filter>* rules) = 0;
    /// Adds the rules of one adapter.
    virtual Reply List(std::string_view pci_bus_location, std::vector<_FilterX4>* rules) = 0;
    virtual Reply GetMost(std::string_view interface_name) = 0;
    virtual Reply SetMost(std::string_view interface_name, int32_t most) = 0;
    virtual Reply ActiveCombinations() = 0;
    virtual Reply SetCombination(std::string_view pci_bus_location,
                                 std::string_view combination) = 0;
    virtual Reply ListX3Interfaces() = 0;
    virtual Reply ListX4Adapters() = 0;

    template <class Rule>
    Reply ReadAndChange(uint16_t opcode, std::span<const uint8_t> data);
    Reply ListX3();
    Reply ListX4(std::span<const uint8_t> data);
};

}  // namespace zwmgmt::agent
