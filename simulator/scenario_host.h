/// The host model that answers for a scenario.
#pragma once

#include "simulator/host_model.h"
#include "simulator/scenario.h"

namespace zmsim {

class ScenarioHost : public HostModel {
  public:
    explicit ScenarioHost(Scenario host_scenario) : scenario(std::move(host_scenario)) {}

    uint8_t OsType() const override { return scenario.os_type; }
    uint8_t WordSize() const override { return scenario.word_size; }
    Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override;

    Reply GetCapabilities(std::span<const uint8_t> data);
    Reply ListAdapters(std::span<const uint8_t> data);
    Reply ListPorts(std::span<const uint8_t> data);
    Reply GetCardStatistics(std::span<const uint8_t> data);
    Reply GetPortStatistics(std::span<const uint8_t> data);
    Reply ListDrivers(std::span<const uint8_t> data);

  private:
    const Adapter* FindAdapter(std::string_view pci_bus_location) const;

    Scenario scenario;
};

}  // namespace zmsim
