/// Requests of the filter service.
#include "cli/handler.h"
#include "cli/keys.h"
#include "cli/vocabulary.h"
#include "filters/combinations.h"
#include "filters/x3_rules.h"
#include "filters/x4_rules.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kPciKey = FilterKey("pci");
constexpr int kNameKey = FilterKey("ifname");
constexpr int kMaxKey = FilterKey("max");
constexpr int kShowKey = FilterKey("show");
constexpr int kCombinationKey = FilterKey("comb");

constexpr const char* kNoInterface = "please specify IfName on which filter needs to be applied \n";

/// What a command asks of a rule.
struct RuleCommand {
    Command command;
    const char* no_id;     // said without an id; null: needs none
    const char* no_place;  // said without interface or location
};

constexpr RuleCommand kAddX3 = {kAddFilterX3, nullptr, kNoInterface};
constexpr RuleCommand kDeleteX3 = {kDeleteFilterX3, "please specify FilterId and IfName\n",
                                   "please specify FilterId and IfName\n"};
constexpr RuleCommand kModifyX3 = {kModifyFilterX3, "please specify FilterId\n", kNoInterface};

constexpr RuleCommand kAddX4 = {
    kAddFilterX4, nullptr, "Please specify PCIBusLocation  on which filter needs to be applied \n"};
constexpr RuleCommand kDeleteX4 = {kDeleteFilterX4, "please specify FilterId and PCIBusLocation\n",
                                   "please specify FilterId and PCIBusLocation\n"};
constexpr RuleCommand kModifyX4 = {
    kModifyFilterX4, "Please specify FilterId\n",
    "Please specify PCI Bus location on which filter needs to be applied \n"};

std::string InvalidText(const Client_Request_Argument& key) {
    const char* word = KeyWord(kFilter, key.key);
    return std::string("Invalid ") + (word != nullptr ? word : "argument") + "\n";
}

bool SetX3(ZwMgmt_interface& session, const Client_Request_Argument& key, _Filter* rule) {
    if (session.CLSetFilterArg(key.key, key.value, rule) == 0) {
        NoteX3Value(session, key, *rule);
        return true;
    }
    Refuse(session, key, InvalidText(key).c_str());
    return false;
}

bool SetX4(ZwMgmt_interface& session, const Client_Request_Argument& key, _FilterX4* rule) {
    if (session.CLSetFilterX4Arg(key.key, key.value, rule) == 0) {
        NoteX4Value(session, key, *rule);
        return true;
    }
    Refuse(session, key, "Invalid X4 filter argument/value \n");
    return false;
}

bool HasPlace(const _Filter& rule) { return rule.interface_name[0] != '\0'; }
bool HasPlace(const _FilterX4& rule) { return rule.pci_bus_location[0] != '\0'; }

uint32_t Criteria(const _Filter&) { return kX3Criteria; }
uint32_t Criteria(const _FilterX4&) { return kX4Criteria; }

constexpr const char* kNoCriteria = "a rule without criteria matches every packet";

/// Fills a rule from the keys and checks that it has what the command needs.
template <class Rule, class Set>
int SendRule(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
             const RuleCommand& row, Set set) {
    const bool adds = row.command == kAddFilterX3 || row.command == kAddFilterX4;
    Rule rule = {};
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (!set(session, key, &rule)) return kRequestRefused;
    }
    if (row.no_id != nullptr && rule.id == 0) return Refuse(session, row.no_id);
    if (!HasPlace(rule)) return Refuse(session, row.no_place);
    if (adds && (rule.present & Criteria(rule)) == 0) Remarks::WarnOfRequest(session, kNoCriteria);
    return Fill(session, message, kFilter, row.command, &rule, sizeof(rule));
}

}  // namespace

int ZwMgmt_interface::CLAddFilter(Client_Request_Message* request, _Message* message) {
    return SendRule<_Filter>(*this, request, message, kAddX3, SetX3);
}

int ZwMgmt_interface::CLDeleteFilter(Client_Request_Message* request, _Message* message) {
    return SendRule<_Filter>(*this, request, message, kDeleteX3, SetX3);
}

int ZwMgmt_interface::CLModifyFilter(Client_Request_Message* request, _Message* message) {
    return SendRule<_Filter>(*this, request, message, kModifyX3, SetX3);
}

int ZwMgmt_interface::CLAddFilterX4(Client_Request_Message* request, _Message* message) {
    return SendRule<_FilterX4>(*this, request, message, kAddX4, SetX4);
}

int ZwMgmt_interface::CLDeleteFilterX4(Client_Request_Message* request, _Message* message) {
    return SendRule<_FilterX4>(*this, request, message, kDeleteX4, SetX4);
}

int ZwMgmt_interface::CLModifyFilterX4(Client_Request_Message* request, _Message* message) {
    return SendRule<_FilterX4>(*this, request, message, kModifyX4, SetX4);
}

int ZwMgmt_interface::CLListFilters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kListFiltersX3);
}

int ZwMgmt_interface::CLListFiltersX4(Client_Request_Message* request, _Message* message) {
    FilterListRequest payload = {};
    for (const Client_Request_Argument& key : KeysOf(request)) {
        const std::string_view value = ValueOf(key);
        if (key.key == kPciKey) {
            if (!SetWhole(payload.pci_bus_location, value)) {
                return Refuse(*this, key, "Invalid Parameter specified\n");
            }
        } else if (key.key != kShowKey) {
            return Refuse(*this, key, "Invalid Parameter specified\n");
        } else if (value == "all" || value == "active") {
            payload.show = value == "all" ? 1 : 2;
        } else {
            return Refuse(*this, key, "Show type should be \"all\" or \"active\".\n");
        }
    }
    if (payload.pci_bus_location[0] == '\0' || payload.show == 0) {
        return Refuse(*this, "Please specify a valid PCIBusLocation and Show type!\n");
    }
    return Fill(*this, message, kFilter, kListFiltersX4, &payload, sizeof(payload));
}

int ZwMgmt_interface::CLSetCombX4(Client_Request_Message* request, _Message* message) {
    _FilterX4 payload = {};
    for (const Client_Request_Argument& key : KeysOf(request)) {
        const std::string_view value = ValueOf(key);
        if (key.key == kPciKey) {
            if (!SetWhole(payload.pci_bus_location, value)) {
                return Refuse(*this, key, "Invalid Parameter Specified\n");
            }
        } else if (key.key != kCombinationKey) {
            return Refuse(*this, key, "Invalid Parameter Specified\n");
        } else if (!IsFilterCombination(value)) {
            return Refuse(*this, key, "Filter combination string is invalid\n");
        } else {
            SetFixedText(payload.combination, value);
        }
    }
    if (payload.pci_bus_location[0] == '\0' || payload.combination[0] == '\0') {
        return Refuse(*this, "Please specify a valid PCIBusLocation and Filter Combination!\n");
    }
    return Fill(*this, message, kFilter, kSetCombination, &payload, sizeof(payload));
}

int ZwMgmt_interface::CLShowActiveComb(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kShowActiveCombination);
}

int ZwMgmt_interface::CLGetOrSetMaxFiltersValue(Client_Request_Message* request,
                                                _Message* message) {
    const bool get = BeginsWith(request, "get");
    if (!get && !BeginsWith(request, "set"))
        return Refuse(*this, "Please specify a valid subcommand\n");
    _Filter rule = {};
    bool max_given = false;
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (key.key != kNameKey && key.key != kMaxKey) {
            return Refuse(*this, key, InvalidText(key).c_str());
        }
        if (!SetX3(*this, key, &rule)) return kRequestRefused;
        max_given |= key.key == kMaxKey;
    }
    if (get && max_given) {
        return Refuse(*this, "Subcommand GET doesn't take max filters value as an argument\n");
    }
    if (!get && !max_given) {
        return Refuse(*this, "Please specify the max filters value to be set\n");
    }
    if (!HasPlace(rule)) return Refuse(*this, kNoInterface);
    return Fill(*this, message, kFilter, get ? kGetMaxFilters : kSetMaxFilters, &rule,
                sizeof(rule));
}

int ZwMgmt_interface::CLPrintX4Comb(Client_Request_Message* /*request*/, _Message* /*message*/) {
    PrintOutput("\nPermissible combination of x4 filter tuple :\n%s\n",
                "------------------------------------------------");
    for (const std::string_view combination : FilterCombinations()) {
        PrintOutput("\"%s\"\n", combination.data());
    }
    return 0;
}
