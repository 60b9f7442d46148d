/// The host model that answers for a scenario.
#pragma once

#include <mutex>
#include <string>

#include "simulator/filter_table.h"
#include "simulator/host_model.h"
#include "simulator/policy_table.h"
#include "simulator/probes.h"
#include "simulator/scenario.h"

namespace zmsim {

class ScenarioHost : public HostModel {
  public:
    explicit ScenarioHost(Scenario host_scenario) : scenario(std::move(host_scenario)) {}

    uint8_t OsType() const override { return scenario.os_type; }
    uint8_t WordSize() const override { return scenario.word_size; }
    Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override;
    bool Changes(uint8_t service, uint16_t opcode) const override;
    void FileArrived(const ReceivedFile& file) override;

    // The operations; each is called with the state locked.
    Reply GetCapabilities(std::span<const uint8_t> data);
    Reply ListAdapters(std::span<const uint8_t> data);
    Reply ListPorts(std::span<const uint8_t> data);
    Reply GetCardStatistics(std::span<const uint8_t> data);
    Reply GetPortStatistics(std::span<const uint8_t> data);
    Reply SetCardProperties(std::span<const uint8_t> data);
    Reply SetPortProperties(std::span<const uint8_t> data);
    Reply ListDrivers(std::span<const uint8_t> data);
    Reply LoadDriver(std::span<const uint8_t> data);
    Reply ReloadDriver(std::span<const uint8_t> data);
    Reply UnloadDriver(std::span<const uint8_t> data);
    Reply GetInstallResult(std::span<const uint8_t> data);
    Reply SetMtu(std::span<const uint8_t> data);

  private:
    Adapter* FindAdapter(std::string_view pci_bus_location);
    Port* FindPort(const PortRequest& request, Adapter** adapter);
    Driver* FindDriver(std::string_view name);
    bool IsInUse(const Driver& driver) const;

    std::mutex lock;
    Scenario scenario;
    FilterTable filters{scenario};
    PolicyTable policies{scenario};
    Probes probes;
    std::string installed;  // a line for each package since the outcome was last asked for
};

}  // namespace zmsim
