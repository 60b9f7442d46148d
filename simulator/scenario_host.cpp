#include "simulator/scenario_host.h"

#include <cstring>

#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {
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
    {zwmgmt::kKorvane, zwmgmt::kListPorts, &ScenarioHost::ListPorts},
    {zwmgmt::kKorvane, zwmgmt::kGetCardStats, &ScenarioHost::GetCardStatistics},
    {zwmgmt::kKorvane, zwmgmt::kGetPortStats, &ScenarioHost::GetPortStatistics},
    {zwmgmt::kKorvane, zwmgmt::kListAdapterProps, &ScenarioHost::ListAdapters},
};

/// Ends a run of records.
constexpr uint8_t kEndMark = 0xFF;

/// Why a request about one card fails.
enum Failure : uint32_t { kNoStatistics = 69, kNoPorts = 97 };

Reply Failed(uint32_t status) { return {.status = status, .data = {}}; }

/// A run of records as it travels. Their one pointer, the link, stays behind: so the records of
/// agents of every word size are alike.
class RecordRun {
  public:
    template <class Record>
    void Add(const Record& record) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
        data.insert(data.end(), bytes, bytes + offsetof(Record, next));
    }

    Reply Finish() {
        if (!data.empty()) data.push_back(kEndMark);
        return {.status = zwmgmt::kSuccess, .data = std::move(data)};
    }

  private:
    std::vector<uint8_t> data;
};

template <class Record>
Reply ReplyOf(const std::vector<Record>& records) {
    RecordRun run;
    for (const Record& record : records) run.Add(record);
    return run.Finish();
}

}  // namespace

Reply ScenarioHost::Answer(uint8_t service, uint16_t opcode, Data data) {
    for (const Operation& operation : kOperations) {
        if (operation.service == service && operation.opcode == opcode) {
            return (this->*operation.answer)(data);
        }
    }
    return Failed(zwmgmt::kNotSupported);
}

Reply ScenarioHost::GetCapabilities(Data) {
    if (!scenario.tells_capabilities) return Failed(zwmgmt::kNotSupported);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&scenario.capabilities);
    return {.status = zwmgmt::kSuccess, .data = {bytes, bytes + sizeof(Capabilities)}};
}

const Adapter* ScenarioHost::FindAdapter(std::string_view pci_bus_location) const {
    for (const Adapter& adapter : scenario.adapters) {
        if (zwmgmt::FixedText(adapter.card.pci_bus_location) == pci_bus_location) return &adapter;
    }
    return nullptr;
}

Reply ScenarioHost::ListAdapters(Data) {
    RecordRun run;
    for (const Adapter& adapter : scenario.adapters) run.Add(adapter.card);
    return run.Finish();
}

Reply ScenarioHost::ListPorts(Data data) {
    const Adapter* adapter = FindAdapter(zwmgmt::FixedText(data.data(), data.size()));
    if (adapter == nullptr || adapter->ports.empty()) return Failed(kNoPorts);
    RecordRun run;
    for (const Port& port : adapter->ports) run.Add(port.record);
    return run.Finish();
}

Reply ScenarioHost::GetCardStatistics(Data data) {
    const Adapter* adapter = FindAdapter(zwmgmt::FixedText(data.data(), data.size()));
    if (adapter == nullptr || adapter->statistics.empty()) return Failed(kNoStatistics);
    return ReplyOf(adapter->statistics);
}

Reply ScenarioHost::GetPortStatistics(Data data) {
    PortRequest request = {};
    if (data.size() != sizeof(request)) return Failed(zwmgmt::kInvalidValue);
    std::memcpy(&request, data.data(), sizeof(request));
    const Adapter* adapter = FindAdapter(zwmgmt::FixedText(request.pci_bus_location));
    if (adapter == nullptr) return Failed(kNoStatistics);
    for (const Port& port : adapter->ports) {
        if (port.record.port_instance == request.port_instance) return ReplyOf(port.statistics);
    }
    return Failed(kNoStatistics);
}

Reply ScenarioHost::ListDrivers(Data) { return ReplyOf(scenario.drivers); }

}  // namespace zmsim
