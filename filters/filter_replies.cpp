/// Printers of the filter service.
#include <cinttypes>

#include "cli/fields.h"
#include "cli/outcomes.h"
#include "platform/address.h"

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

constexpr Field kInterfaceName = ZWMGMT_FIELD(_Filter, interface_name, "%-10s ");

/// A column of the X3 listing; a dash where the rule does not say.
struct X3Column {
    uint32_t bit;
    int width;
    Field number;
};

constexpr X3Column kNumbersBeforeProtocol[] = {
    {0x4, 5, ZWMGMT_SILENT(_Filter, source_port)},
    {0x10, 5, ZWMGMT_SILENT(_Filter, destination_port)},
    {0x20, 6, ZWMGMT_SILENT(_Filter, vlan_id)},
    {0x40, 4, ZWMGMT_SILENT(_Filter, vlan_priority)},
    {0x80, 3, ZWMGMT_SILENT(_Filter, mac_index)},
};

constexpr uint32_t kSourceBit = 0x1;
constexpr uint32_t kPrefixBit = 0x2;
constexpr uint32_t kDestinationBit = 0x8;
constexpr uint32_t kQueueBit = 0x200;

const char* ProtocolOf(int32_t code) {
    switch (code) {
        case 1: return "TCP";
        case 2: return "UDP";
        case 3: return "FRAG";
        default: return "ANY";
    }
}

const char* ActionOf(int32_t code) { return code == 1 ? "PASS" : code == 2 ? "DROP" : "RSS"; }

void PrintX3Address(ZwMgmt_interface& session, const _Filter& rule, const uint8_t* address,
                    uint32_t bit, int width) {
    char quad[16] = "-";
    char text[32];
    if ((rule.present & bit) != 0) {
        platform::FormatAddress(platform::Family::kIpv4, address, quad, sizeof(quad));
    }
    if (bit == kSourceBit && (rule.present & kPrefixBit) != 0) {
        std::snprintf(text, sizeof(text), "%s/%d", quad, rule.source_prefix);
    } else {
        std::snprintf(text, sizeof(text), "%s", quad);
    }
    session.PrintOutput("%-*s ", width, text);
}

void PrintX3Number(ZwMgmt_interface& session, const _Filter& rule, const X3Column& column) {
    if ((rule.present & column.bit) != 0) {
        session.PrintOutput("%-*" PRId64 " ", column.width, IntegerOf(&rule, column.number));
    } else {
        session.PrintOutput("%-*s ", column.width, "-");
    }
}

void PrintX3Rule(ZwMgmt_interface& session, const _Filter& rule) {
    PrintField(session, &rule, kInterfaceName);
    session.PrintOutput("%-4d ", rule.id);
    PrintX3Address(session, rule, rule.source_address, kSourceBit, 18);
    PrintX3Address(session, rule, rule.destination_address, kDestinationBit, 15);
    for (const X3Column& column : kNumbersBeforeProtocol) PrintX3Number(session, rule, column);
    session.PrintOutput("%-5s %-6s ", ProtocolOf(rule.protocol), ActionOf(rule.action));
    if ((rule.present & kQueueBit) != 0) {
        session.PrintOutput("%d\n", rule.queue);
    } else {
        session.PrintOutput("-\n");
    }
}

std::string_view TextOf(const void* data, const _Message& message) {
    return {static_cast<const char*>(data), data != nullptr ? message.data_length : 0};
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
    const std::string_view run = TextOf(rules, *message);
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
    std::string_view left = TextOf(blocks, *message);
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
    const std::string_view combination = TextOf(text, *message);
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
