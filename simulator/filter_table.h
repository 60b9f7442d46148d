/// The hardware filter rules of a simulated host.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "agent/filter_service.h"
#include "simulator/scenario.h"
#include "zwmgmt/records/filter.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

class FilterTable : public agent::FilterService {
  public:
    /// The host's adapters and drivers outlive the table.
    explicit FilterTable(const Scenario& host_scenario) : scenario(host_scenario) {}

  private:
    struct X3Table {
        agent::Rules<_Filter> rules;
        int32_t max = 0;
    };
    struct X4Table {
        agent::Rules<_FilterX4> rules;
        std::string combination;
    };

    agent::Reply Change(agent::RuleChange change, const _Filter& rule) override;
    agent::Reply Change(agent::RuleChange change, const _FilterX4& rule) override;
    agent::Reply List(std::vector<_Filter>* rules) override;
    agent::Reply List(std::string_view pci_bus_location, std::vector<_FilterX4>* rules) override;
    agent::Reply GetMost(std::string_view interface_name) override;
    agent::Reply SetMost(std::string_view interface_name, int32_t most) override;
    agent::Reply ActiveCombinations() override;
    agent::Reply SetCombination(std::string_view pci_bus_location,
                                std::string_view combination) override;
    agent::Reply ListX3Interfaces() override;
    agent::Reply ListX4Adapters() override;

    X3Table* FindX3(std::string_view interface_name);
    X4Table* FindX4(std::string_view pci_bus_location);

    const Scenario& scenario;
    std::map<std::string, X3Table> x3_tables;  // by interface name
    std::map<std::string, X4Table> x4_tables;  // by PCI bus location
};

}  // namespace zmsim
