/// The host model that answers for a scenario.
#pragma once

#include <mutex>
#include <string>

#include "agent/host_model.h"
#include "simulator/filter_table.h"
#include "simulator/policy_table.h"
#include "simulator/probes.h"
#include "simulator/scenario.h"

namespace zmsim {

class ScenarioHost : public agent::HostModel {
  public:
    explicit ScenarioHost(Scenario host_scenario) : scenario(std::move(host_scenario)) {}

    uint8_t OsType() const override { return scenario.os_type; }
    uint8_t WordSize() const override { return scenario.word_size; }
    agent::Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override;
    bool Changes(uint8_t service, uint16_t opcode) const override;
    agent::FileOpening OpenFile(const agent::FileAnnouncement& file) override;

    /// A file has been pushed, whole.
    void FileArrived(const agent::FileAnnouncement& file);

    // The operations; each is called with the state locked.
    agent::Reply GetCapabilities(std::span<const uint8_t> data);
    agent::Reply ListAdapters(std::span<const uint8_t> data);
    agent::Reply ListPorts(std::span<const uint8_t> data);
    agent::Reply GetCardStatistics(std::span<const uint8_t> data);
    agent::Reply GetPortStatistics(std::span<const uint8_t> data);
    agent::Reply SetCardProperties(std::span<const uint8_t> data);
    agent::Reply SetPortProperties(std::span<const uint8_t> data);
    agent::Reply ListDrivers(std::span<const uint8_t> data);
    agent::Reply LoadDriver(std::span<const uint8_t> data);
    agent::Reply ReloadDriver(std::span<const uint8_t> data);
    agent::Reply UnloadDriver(std::span<const uint8_t> data);
    agent::Reply GetInstallResult(std::span<const uint8_t> data);
    agent::Reply SetMtu(std::span<const uint8_t> data);

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
