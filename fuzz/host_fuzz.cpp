/// Requests to a simulated host: records of the right size for a place that it has, with bytes of
/// the input over them. What the host keeps must be fit to be listed.
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "simulator/scenario_host.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/vocabulary.h"

namespace {

using namespace zwmgmt;

struct Operation {
    uint8_t service;
    uint16_t opcode;
    size_t size;
    size_t place_offset;
    enum { kNowhere, kLocation, kInterface } place;
};

constexpr Operation kOperations[] = {
    {kKorvane, kSetCardProperty, 231, 5, Operation::kLocation},
    {kKorvane, kSetPortProperty, 240, 9, Operation::kLocation},
    {kNet, kSetMtu, 68, 0, Operation::kInterface},
    {kNet, kPing, 74, 0, Operation::kNowhere},
    {kNet, kTraceRoute, 74, 0, Operation::kNowhere},
    {kFilter, kAddFilterX3, 120, 0, Operation::kInterface},
    {kFilter, kModifyFilterX3, 120, 0, Operation::kInterface},
    {kFilter, kSetMaxFilters, 120, 0, Operation::kInterface},
    {kFilter, kAddFilterX4, 880, 0, Operation::kLocation},
    {kFilter, kModifyFilterX4, 880, 0, Operation::kLocation},
    {kFilter, kSetCombination, 880, 0, Operation::kLocation},
    {kTm, kAddPolicy, 502, 1, Operation::kInterface},
    {kTm, kModifyPolicy, 502, 1, Operation::kInterface},
    {kSystem, kLoadDriver, 32, 0, Operation::kNowhere},
};

zmsim::Scenario BuiltinScenario(const char* os) {
    zmsim::Scenario scenario;
    std::string error;
    if (!zmsim::ParseScenario(zmsim::BuiltinScenarioJson(os), &scenario, &error)) std::abort();
    return scenario;
}

/// Every listed MTU is terminated and all digits.
void CheckPorts(zmsim::ScenarioHost& host, std::string_view location) {
    constexpr size_t kStride = offsetof(_PortInformation, next);
    const auto* bytes = reinterpret_cast<const uint8_t*>(location.data());
    const agent::Reply ports = host.Answer(kKorvane, kListPorts, {bytes, location.size()});
    for (size_t at = 0; at + kStride <= ports.data.size(); at += kStride) {
        const auto mtu = FixedText(&ports.data[at + offsetof(_PortInformation, settings)],
                                   sizeof(PortSettings::mtu));
        if (mtu.size() == sizeof(PortSettings::mtu)) std::abort();
        if (mtu.find_first_not_of("0123456789") != mtu.npos) std::abort();
    }
}

}  // namespace

/// Operating system and place; then an operation, how many bytes follow, and each with its offset.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    static const zmsim::Scenario kScenarios[] = {
        BuiltinScenario("linux"), BuiltinScenario("windows"), BuiltinScenario("solaris"),
        BuiltinScenario("xen")};
    const auto next = [&]() -> size_t {
        if (size == 0) return 0;
        --size;
        return *input++;
    };
    const zmsim::Scenario& scenario = kScenarios[next() % std::size(kScenarios)];
    const zmsim::Adapter& adapter = scenario.adapters[next() % scenario.adapters.size()];
    const std::string_view location = FixedText(adapter.card.pci_bus_location);
    const std::string_view name = FixedText(adapter.ports[0].record.name);
    zmsim::ScenarioHost host(scenario);
    while (size != 0) {
        const Operation& row = kOperations[next() % std::size(kOperations)];
        std::vector<uint8_t> record(row.size);
        if (row.place != Operation::kNowhere) {
            const auto place = row.place == Operation::kLocation ? location : name;
            std::memcpy(&record[row.place_offset], place.data(), place.size());
        }
        for (size_t count = next(); count != 0; --count) {
            const size_t offset = next() << 2 | next() % 4;
            record[offset % row.size] = static_cast<uint8_t>(next());
        }
        (void)host.Answer(row.service, row.opcode, record);
        CheckPorts(host, location);
    }
    for (const uint16_t opcode : {kListFiltersX3, kShowActiveCombination}) {
        (void)host.Answer(kFilter, opcode, {});
    }
    (void)host.Answer(kTm, kListPolicies, {});
    (void)host.Answer(kNet, kPingResult, {});
    return 0;
}
