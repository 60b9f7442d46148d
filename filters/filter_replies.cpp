/// Printers of the filter service.
#include <algorithm>
#include <cinttypes>

#include "commands/outcomes.h"
#include "output/layout.h"
#include "platform/address.h"
#include "records/x3_rule.h"

using namespace zwmgmt;

namespace {

constexpr const char* kFailed = "Command failed\n";

constexpr OutcomeRow kAddOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kInvalidFilterId, kAnyAgent, "Invalid FilterId\n"},
    {kOffloadLoaded, kAnyAgent, "Error: x3_tom loaded. Cannot add the filter...!\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr OutcomeRow kDeleteOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kInvalidFilterId, kAnyAgent, "Invalid FilterId -- Filter rule can deleted for existing id.\n"},
    {kOffloadLoaded, kAnyAgent, "Error: x3_tom loaded. Cannot delete the filter...!\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr OutcomeRow kModifyOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kInvalidFilterId, kAnyAgent,
     "Invalid FilterId -- Filter rules can be modified for existing filter id. \n"},
    {kOffloadLoaded, kAnyAgent, "Error: x3_tom loaded. Cannot modify filter...!\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr OutcomeRow kCombinationOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

// Of listings: a reply that has one prints none of these.
constexpr const char* kNothingToList = "There are no filters to list...!\n";

constexpr OutcomeRow kListX3Outcomes[] = {
    {kNoFilters, kAnyAgent, kNothingToList},
    {kOffloadLoaded, kAnyAgent, "Error: x3_tom loaded. Cannot list filter...!\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr OutcomeRow kListX4Outcomes[] = {
    {kNoFilters, kAnyAgent, kNothingToList},
    {kOffloadLoaded, kAnyAgent, "Error: x4_tom loaded. Cannot list filter...!\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr OutcomeRow kActiveOutcomes[] = {
    {kNoFilters, kAnyAgent, kNothingToList},
    {kOffloadLoaded, kAnyAgent, "Error: x3_tom/x4_tom loaded. Cannot list filter...!\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr OutcomeRow kMaxOutcomes[] = {
    {kOffloadLoaded, kAnyAgent, "Error:x3_tom loaded. Cannot get max filters value..!\n"},
    {kStillRunning, kAnyAgent, kRunningText},
    {kNotStarted, kAnyAgent,
     "The data available is not for this command. Please initiate the setnfilters command and then "
     "retry\n"},
    {kAnyOther, kAnyAgent, kFailed},
};

constexpr char kX3Header[] =
    "ifname     id   sip                dip             sport dport vlanid prio mac proto action "
    "queue\n";

constexpr char kX3Rule[] =
    "--------------------------------------------------------------------------------"
    "-----------------";
static_assert(sizeof(kX3Rule) == sizeof(kX3Header) - 1);

consteval const Field* X3(std::string_view name) { return FieldNamed(kX3RuleFields, name); }

constexpr Line kInterfaceName = MakeLine(X3("interface_name"), "%-10s ");

/// A column of the X3 listing; a dash where the rule does not say.
struct X3Column {
    const Field* field;
    int width;
};

constexpr X3Column kSource = {X3("source_address"), 18};
constexpr X3Column kDestination = {X3("destination_address"), 15};
constexpr X3Column kNumbersBeforeProtocol[] = {
    {X3("source_port"), 5},   {X3("destination_port"), 5}, {X3("vlan_id"), 6},
    {X3("vlan_priority"), 4}, {X3("mac_index"), 3},
};

bool Has(const _Filter& rule, const Field* field) { return (rule.present & field->bit) != 0; }

const char* ProtocolOf(int32_t code) {
    switch (code) {
        case 1: return "TCP";
        case 2: return "UDP";
        case 3: return "FRAG";
        default: return "ANY";
    }
}

const char* ActionOf(int32_t code) { return code == 1 ? "PASS" : code == 2 ? "DROP" : "RSS"; }

void PrintX3Address(ZwMgmt_interface& session, const _Filter& rule, const X3Column& column) {
    char quad[16] = "-";
    char text[32];
    if (Has(rule, column.field)) {
        const auto* address = reinterpret_cast<const uint8_t*>(&rule) + column.field->offset;
        platform::FormatAddress(platform::Family::kIpv4, address, quad, sizeof(quad));
    }
    if (column.field == kSource.field && Has(rule, X3("source_prefix"))) {
        std::snprintf(text, sizeof(text), "%s/%d", quad, rule.source_prefix);
    } else {
        std::snprintf(text, sizeof(text), "%s", quad);
    }
    session.PrintOutput("%-*s ", column.width, text);
}

void PrintX3Number(ZwMgmt_interface& session, const _Filter& rule, const X3Column& column) {
    if (Has(rule, column.field)) {
        session.PrintOutput("%-*" PRId64 " ", column.width, IntegerOf(&rule, *column.field));
    } else {
        session.PrintOutput("%-*s ", column.width, "-");
    }
}

void PrintX3Rule(ZwMgmt_interface& session, const _Filter& rule) {
    PrintLine(session, &rule, kInterfaceName);
    session.PrintOutput("%-4d ", rule.id);
    PrintX3Address(session, rule, kSource);
    PrintX3Address(session, rule, kDestination);
    for (const X3Column& column : kNumbersBeforeProtocol) PrintX3Number(session, rule, column);
    session.PrintOutput("%-5s %-6s ", ProtocolOf(rule.protocol), ActionOf(rule.action));
    if (Has(rule, X3("queue"))) {
        session.PrintOutput("%d\n", rule.queue);
    } else {
        session.PrintOutput("-\n");
    }
}

std::string_view DataOf(const void* data, const _Message& message) {
    return {static_cast<const char*>(data), data != nullptr ? message.data_length : 0};
}

/// The cards of one chip generation: one text, a name a line.
struct CardNames {
    const char* heading;
    const char* none;
};

constexpr CardNames kX3Names = {"\nX3 Interface names:\n------------------------\n",
                                "Error: No X3 Korvane Cards\n"};
constexpr CardNames kX4Names = {"\nCard PCI Bus Locations\n--------------------------------\n",
                                "Error: No X4/X5 Korvane Cards\n"};

constexpr size_t kLongestNames = 63;

void PrintNames(ZwMgmt_interface& session, const CardNames& cards, const void* data,
                const _Message& message) {
    if (message.status != kSuccess) {
        session.PrintOutput(kFailed);
        return;
    }
    const size_t length = data != nullptr ? message.data_length : 0;
    const std::string_view names = FixedText(data, std::min(length, kLongestNames));
    session.PrintOutput("%s", names.empty() ? cards.none : cards.heading);
    PrintLines(session, names);
}

}  // namespace

void ZwMgmt_interface::GetAddFilterResponse(_Message* message) {
    PrintOutcome(*this, kAddOutcomes, *message);
}

void ZwMgmt_interface::GetDeleteFilterResponse(_Message* message) {
    PrintOutcome(*this, kDeleteOutcomes, *message);
}

void ZwMgmt_interface::GetModifyFilterResponse(_Message* message) {
    PrintOutcome(*this, kModifyOutcomes, *message);
}

void ZwMgmt_interface::GetSetCombResponse(_Message* message) {
    PrintOutcome(*this, kCombinationOutcomes, *message);
}

void ZwMgmt_interface::GetListFiltersResponse(const void* rules, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutcome(*this, kListX3Outcomes, *message);
        return;
    }
    PrintOutput("%s%s\n", kX3Header, kX3Rule);
    const std::string_view run = DataOf(rules, *message);
    for (size_t i = 0; i + sizeof(_Filter) <= run.size(); i += sizeof(_Filter)) {
        _Filter rule;
        std::memcpy(&rule, run.data() + i, sizeof(rule));
        PrintX3Rule(*this, rule);
    }
}

void ZwMgmt_interface::GetListFiltersResponseX4(const void* blocks, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutcome(*this, kListX4Outcomes, *message);
        return;
    }
    std::string_view left = DataOf(blocks, *message);
    while (!left.empty()) {
        const std::string_view block = left.substr(0, left.find('\0'));
        if (!block.empty()) {
            PrintAgentText(*this, block);
            PrintOutput("\n\n");
        }
        left.remove_prefix(std::min(block.size() + 1, left.size()));
    }
}

void ZwMgmt_interface::ShowActiveResp(const void* text, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutcome(*this, kActiveOutcomes, *message);
        return;
    }
    PrintOutput("\nThe Current Active Combination:\n%s\n", "-----------------------------------");
    const std::string_view combination = DataOf(text, *message);
    PrintLines(*this, combination.substr(0, combination.find('\0')));
}

void ZwMgmt_interface::GetMaxFiltersResponse(const void* value, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutcome(*this, kMaxOutcomes, *message);
    } else if (message->opcode == kSetMaxFilters) {
        PrintOutput(
            "Max filters value is being set. Please use the maxfilters get command to get the "
            "result\n");
    } else if (message->opcode == kGetMaxFilters) {
        int32_t max = 0;
        if (value != nullptr && message->data_length >= sizeof(max)) {
            std::memcpy(&max, value, sizeof(max));
        }
        PrintOutput("Max no of filters : %d\n", max);
    }
}

void ZwMgmt_interface::GetListX3Interfaces(const void* data, _Message* message) {
    PrintNames(*this, kX3Names, data, *message);
}

void ZwMgmt_interface::GetListX4Interfaces(const void* data, _Message* message) {
    PrintNames(*this, kX4Names, data, *message);
}
