/// The hardware filter rules of a simulated host.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "agent/filter_rules.h"
#include "agent/host_model.h"
#include "simulator/scenario.h"
#include "zwmgmt/records/filter.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

class FilterTable {
  public:
    /// The host's adapters and drivers outlive the table.
    explicit FilterTable(const Scenario& host_scenario) : scenario(host_scenario) {}

    /// The answer to an opcode of the filter service; nothing for one that it does not know.
    std::optional<agent::Reply> Answer(uint16_t opcode, std::span<const uint8_t> data);

  private:
    struct X3Table {
        agent::Rules<_Filter> rules;
        int32_t max = 0;
    };
    struct X4Table {
        agent::Rules<_FilterX4> rules;
        std::string combination;
    };

    agent::Reply ChangeX3(uint16_t opcode, std::span<const uint8_t> data);
    agent::Reply ChangeX4(uint16_t opcode, std::span<const uint8_t> data);
    agent::Reply ListX3();
    agent::Reply ListX4(std::span<const uint8_t> data);
    agent::Reply MaxFilters(uint16_t opcode, std::span<const uint8_t> data);
    agent::Reply SetCombination(std::span<const uint8_t> data);
    agent::Reply ActiveCombinations();
    agent::Reply ListX3Adapters();
    agent::Reply ListX4Adapters();
    X3Table* FindX3(std::string_view interface_name);
    X4Table* FindX4(std::string_view pci_bus_location);

    const Scenario& scenario;
    std::map<std::string, X3Table> x3_tables;  // by interface name
    std::map<std::string, X4Table> x4_tables;  // by PCI bus location
};

}  // namespace zmsim
