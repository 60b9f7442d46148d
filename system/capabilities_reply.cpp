/// The printer of "system getcapabilities": what the agent says it can do, a line a service.
#include <array>
#include <cstring>

#include "records/capabilities.h"
#include "session/agent_names.h"
#include "system/results.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

/// What the bits of a service's word mean.
enum class Meaning {
    kOffered,  // 0: absent; bit 0: too old for this client
    kAbsent,   // nonzero: absent
};

struct ServiceLine {
    const char* service;
    const Field* word;
    Meaning meaning = Meaning::kOffered;
};

consteval const Field* Word(std::string_view name) { return FieldNamed(kCapabilitiesFields, name); }

// clang-format off
constexpr ServiceLine kServices[] = {
    {"Network",            Word("network")},
    {"Teaming",            Word("teaming")},
    {"iSCSI",              Word("iscsi")},
    {"Adapter",            Word("adapter")},
    {"System",             Word("system")},
    {"Filter",             Word("filter")},
    {"Traffic Management", Word("traffic_management")},
    {"FCoE",               Word("fcoe")},
    {"Log",                Word("log")},
    {"iWARP",              Word("iwarp")},
    {"Bypass",             Word("bypass"), Meaning::kAbsent},
    {"Bonding",            Word("bonding"), Meaning::kAbsent},
};
// clang-format on

const char* Availability(int64_t word, Meaning meaning) {
    if (meaning == Meaning::kAbsent) return word == 0 ? "available" : "not available";
    if (word == 0) return "not available";
    return (word & 1) != 0 ? "too old" : "available";
}

const char* NameOf(uint8_t os) {
    const char* name = NameOfAgent(os);
    return name != nullptr ? name : "unknown";
}

constexpr const char* kLine = "%-27s: %s\n";

constexpr size_t kServicesBegin = 2;  // cells before those of the services

consteval auto CellsOfServices() {
    std::array<Field, kServicesBegin + std::size(kServices)> cells = {};
    cells[0] = CellField("api_version", 0);
    cells[1] = CellField("agent_os", 1);
    for (size_t i = kServicesBegin; i < cells.size(); ++i) {
        cells[i] = CellField(kServices[i - kServicesBegin].word->name, i);
    }
    return cells;
}

constexpr auto kCells = CellsOfServices();

std::string VersionText(uint8_t version) {
    return std::to_string(version >> 4) + "." + std::to_string(version & 0xF);
}

void Decode(const void* data, uint32_t length, Cells* rows) {
    Capabilities agent;
    if (length < sizeof(agent)) return;
    std::memcpy(&agent, data, sizeof(agent));
    std::vector<std::string> row = {VersionText(agent.api_version), NameOf(agent.os_code)};
    for (const ServiceLine& service : kServices) {
        row.push_back(Availability(IntegerOf(&agent, *service.word), service.meaning));
    }
    rows->push_back(row);
}

}  // namespace

const Description zwmgmt::kAgentCapabilities = {.name = "capabilities",
                                                .shape = Description::kDecoded,
                                                .single = true,
                                                .fields = kCells,
                                                .decode = Decode};

void ZwMgmt_interface::PrintCapabilitiesResponse(const void* data, _Message* message) {
    if (message->status != kSuccess || data == nullptr ||
        !GetCapabilitiesResponse(data, message->data_length)) {
        PrintOutput("Command failed\n");
        return;
    }
    const Capabilities& agent = AgentCapabilities();
    PrintOutput(kLine, "API Version", VersionText(agent.api_version).c_str());
    PrintOutput(kLine, "Agent OS", NameOf(agent.os_code));
    for (const ServiceLine& row : kServices) {
        PrintOutput(kLine, row.service, Availability(IntegerOf(&agent, *row.word), row.meaning));
    }
}
