/// The printer of "system getcapabilities": what the agent says it can do, a line a service.
#include "records/capabilities.h"
#include "session/agent_names.h"
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
    for (const AgentName& row : kAgentNames) {
        if (row.os == os) return row.name;
    }
    return "unknown";
}

constexpr const char* kLine = "%-27s: %s\n";

}  // namespace

void ZwMgmt_interface::PrintCapabilitiesResponse(const void* data, _Message* message) {
    if (message->status != kSuccess || data == nullptr ||
        !GetCapabilitiesResponse(data, message->data_length)) {
        PrintOutput("Command failed\n");
        return;
    }
    const Capabilities& agent = agent_capabilities;
    PrintOutput("%-27s: %d.%d\n", "API Version", agent.api_version >> 4, agent.api_version & 0xF);
    PrintOutput(kLine, "Agent OS", NameOf(agent.os_code));
    for (const ServiceLine& row : kServices) {
        PrintOutput(kLine, row.service, Availability(IntegerOf(&agent, *row.word), row.meaning));
    }
}
