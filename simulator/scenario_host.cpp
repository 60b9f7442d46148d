#include "simulator/scenario_host.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "simulator/property_changes.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {

using agent::DriverNameIn;
using agent::Failed;
using agent::RecordRun;
using agent::Reply;
using agent::TextIn;
using agent::TextReply;
using agent::Unpack;

namespace {

using Data = std::span<const uint8_t>;

struct Operation {
    uint8_t service;
    uint16_t opcode;
    Reply (ScenarioHost::*answer)(Data data);
};

constexpr Operation kOperations[] = {
    {zwmgmt::kSystem, zwmgmt::kGetCapabilities, &ScenarioHost::GetCapabilities},
    {zwmgmt::kSystem, zwmgmt::kListDrivers, &ScenarioHost::ListDrivers},
    {zwmgmt::kSystem, zwmgmt::kLoadDriver, &ScenarioHost::LoadDriver},
    {zwmgmt::kSystem, zwmgmt::kReloadDriver, &ScenarioHost::ReloadDriver},
    {zwmgmt::kSystem, zwmgmt::kUnloadDriver, &ScenarioHost::UnloadDriver},
    {zwmgmt::kSystem, zwmgmt::kGetInstallResult, &ScenarioHost::GetInstallResult},
    {zwmgmt::kKorvane, zwmgmt::kListPorts, &ScenarioHost::ListPorts},
    {zwmgmt::kKorvane, zwmgmt::kGetCardStats, &ScenarioHost::GetCardStatistics},
    {zwmgmt::kKorvane, zwmgmt::kGetPortStats, &ScenarioHost::GetPortStatistics},
    {zwmgmt::kKorvane, zwmgmt::kListAdapterProps, &ScenarioHost::ListAdapters},
    {zwmgmt::kKorvane, zwmgmt::kSetCardProperty, &ScenarioHost::SetCardProperties},
    {zwmgmt::kKorvane, zwmgmt::kSetPortProperty, &ScenarioHost::SetPortProperties},
    {zwmgmt::kNet, zwmgmt::kSetMtu, &ScenarioHost::SetMtu},
};

constexpr size_t kMostDrivers = 512;
constexpr size_t kLongestReport = 64 * 1024;  // bytes

/// The counters as they are; then they move on.
Reply Read(std::vector<VqStat>* counters) {
    RecordRun run;
    for (VqStat& counter : *counters) {
        run.Add(counter);
        counter.value += 1 + counter.value / 1000;
    }
    return run.Finish();
}

/// Keeps nothing but that a file has arrived.
class ArrivalSink : public agent::FileSink {
  public:
    ArrivalSink(ScenarioHost& scenario_host, const agent::FileAnnouncement& announcement)
        : host(scenario_host), file(announcement) {}

    uint32_t Take(Data) override { return zwmgmt::kSuccess; }
    uint32_t Finish() override {
        host.FileArrived(file);
        return zwmgmt::kSuccess;
    }

  private:
    ScenarioHost& host;
    const agent::FileAnnouncement file;
};

}  // namespace

Reply ScenarioHost::Answer(uint8_t service, uint16_t opcode, Data data) {
    const std::lock_guard guard(lock);
    for (const Operation& operation : kOperations) {
        if (operation.service == service && operation.opcode == opcode) {
            return (this->*operation.answer)(data);
        }
    }
    std::optional<Reply> reply;
    if (service == zwmgmt::kFilter) reply = filters.Answer(opcode, data);
    if (service == zwmgmt::kTm) reply = policies.Answer(opcode, data);
    if (service == zwmgmt::kNet) reply = probes.Answer(opcode, data);
    return reply.value_or(Failed(zwmgmt::kNotSupported));
}

bool ScenarioHost::Changes(uint8_t service, uint16_t opcode) const {
    return !agent::IsQuestion(service, opcode);
}

Reply ScenarioHost::GetCapabilities(Data) {
    if (!scenario.tells_capabilities) return Failed(zwmgmt::kNotSupported);
    return agent::RecordReply(scenario.capabilities);
}

Adapter* ScenarioHost::FindAdapter(std::string_view pci_bus_location) {
    for (Adapter& adapter : scenario.adapters) {
        if (zwmgmt::FixedText(adapter.card.pci_bus_location) == pci_bus_location) return &adapter;
    }
    return nullptr;
}

Port* ScenarioHost::FindPort(const PortRequest& request, Adapter** adapter) {
    *adapter = FindAdapter(zwmgmt::FixedText(request.pci_bus_location));
    if (*adapter == nullptr) return nullptr;
    for (Port& port : (*adapter)->ports) {
        if (port.record.port_instance == request.port_instance) return &port;
    }
    return nullptr;
}

Reply ScenarioHost::ListAdapters(Data) {
    RecordRun run;
    for (const Adapter& adapter : scenario.adapters) run.Add(adapter.card);
    return run.Finish();
}

Reply ScenarioHost::ListPorts(Data data) {
    const Adapter* adapter = FindAdapter(TextIn(data));
    if (adapter == nullptr) return Failed(zwmgmt::kNoPorts);
    if (adapter->ports.empty()) {
        const bool solaris = scenario.os_type == zwmgmt::kSolaris;
        return Failed(solaris ? zwmgmt::kNoPlumbedPorts : zwmgmt::kNoPorts);
    }
    RecordRun run;
    for (const Port& port : adapter->ports) run.Add(port.record);
    return run.Finish();
}

Reply ScenarioHost::GetCardStatistics(Data data) {
    Adapter* adapter = FindAdapter(TextIn(data));
    if (adapter == nullptr || adapter->statistics.empty()) return Failed(zwmgmt::kNoStatistics);
    return Read(&adapter->statistics);
}

Reply ScenarioHost::GetPortStatistics(Data data) {
    PortRequest request = {};
    if (!Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    Adapter* adapter = nullptr;
    Port* port = FindPort(request, &adapter);
    if (port == nullptr || port->statistics.empty()) return Failed(zwmgmt::kNoStatistics);
    return Read(&port->statistics);
}

Reply ScenarioHost::SetCardProperties(Data data) {
    CardPropertyRequest request = {};
    if (!Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    Adapter* adapter = FindAdapter(zwmgmt::FixedText(request.pci_bus_location));
    if (adapter == nullptr) return Failed(zwmgmt::kNoPorts);
    const bool applied = Apply(request, scenario.os_type, &adapter->card);
    return applied ? Reply{} : Failed(zwmgmt::kInvalidValue);
}

Reply ScenarioHost::SetPortProperties(Data data) {
    PortRequest request = {};
    if (!Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    Adapter* adapter = nullptr;
    Port* port = FindPort(request, &adapter);
    if (port == nullptr) return Failed(zwmgmt::kNoPorts);
    const bool applied = Apply(request, scenario.os_type, adapter->card, &port->record);
    return applied ? Reply{} : Failed(zwmgmt::kInvalidValue);
}

/// Without a name, of every port.
Reply ScenarioHost::SetMtu(Data data) {
    MtuRequest request = {};
    if (!Unpack(data, &request) || request.mtu < 1 || request.mtu > zwmgmt::kHighestMtu) {
        return Failed(zwmgmt::kInvalidValue);
    }
    const std::string_view name = zwmgmt::FixedText(request.interface_name);
    bool found = false;
    for (Adapter& adapter : scenario.adapters) {
        for (Port& port : adapter.ports) {
            if (!name.empty() && zwmgmt::FixedText(port.record.name) != name) continue;
            zwmgmt::SetFixedText(port.record.settings.mtu, std::to_string(request.mtu));
            found = true;
        }
    }
    return found ? Reply{} : Failed(zwmgmt::kNoPorts);
}

Driver* ScenarioHost::FindDriver(std::string_view name) {
    for (Driver& driver : scenario.drivers) {
        if (zwmgmt::FixedText(driver.record.name) == name) return &driver;
    }
    return nullptr;
}

bool ScenarioHost::IsInUse(const Driver& driver) const {
    const std::string_view name = zwmgmt::FixedText(driver.record.name);
    return std::ranges::any_of(scenario.drivers, [&](const Driver& other) {
        return other.record.loaded && std::ranges::find(other.uses, name) != other.uses.end();
    });
}

Reply ScenarioHost::ListDrivers(Data) {
    RecordRun run;
    for (const Driver& driver : scenario.drivers) run.Add(driver.record);
    return run.Finish();
}

Reply ScenarioHost::LoadDriver(Data data) {
    std::string_view name;
    if (!DriverNameIn(data, scenario.os_type, &name)) return Failed(zwmgmt::kInvalidValue);
    Driver* driver = FindDriver(name);
    if (driver == nullptr) return Failed(zwmgmt::kUnsupportedDriver);
    if (driver->record.loaded) return Failed(zwmgmt::kDriverLoaded);
    driver->record.loaded = 1;
    return {};
}

Reply ScenarioHost::ReloadDriver(Data data) {
    std::string_view name;
    if (!DriverNameIn(data, scenario.os_type, &name)) return Failed(zwmgmt::kInvalidValue);
    Driver* driver = FindDriver(name);
    if (driver == nullptr) return Failed(zwmgmt::kUnsupportedDriver);
    if (!driver->record.loaded) return Failed(zwmgmt::kDriverNotLoaded);
    if (IsInUse(*driver)) return Failed(zwmgmt::kDriverInUse);
    return {};
}

Reply ScenarioHost::UnloadDriver(Data data) {
    Driver* driver = FindDriver(TextIn(data));
    if (driver == nullptr) return Failed(zwmgmt::kUnsupportedDriver);
    if (!driver->record.loaded) return Failed(zwmgmt::kDriverNotLoaded);
    if (IsInUse(*driver)) return Failed(zwmgmt::kDriverInUse);
    driver->record.loaded = 0;
    return {};
}

agent::FileOpening ScenarioHost::OpenFile(const agent::FileAnnouncement& file) {
    return {.status = zwmgmt::kSuccess, .sink = std::make_unique<ArrivalSink>(*this, file)};
}

void ScenarioHost::FileArrived(const agent::FileAnnouncement& file) {
    const std::lock_guard guard(lock);
    const std::string_view name = agent::DriverNameOf(file.name);
    const bool known = FindDriver(name) != nullptr;
    const bool fits = known || scenario.drivers.size() < kMostDrivers;
    if (installed.size() < kLongestReport) {
        installed += file.name + (fits ? ": installed\n" : ": there are too many drivers\n");
    }
    if (known || !fits) return;
    Driver& driver = scenario.drivers.emplace_back();
    zwmgmt::SetFixedText(driver.record.name, name);
    zwmgmt::SetFixedText(driver.record.description, "from " + file.name);
}

Reply ScenarioHost::GetInstallResult(Data) {
    if (installed.empty()) return Failed(zwmgmt::kNotStarted);
    return TextReply(std::exchange(installed, {}));
}

}  // namespace zmsim
