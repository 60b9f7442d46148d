/// Requests of the filter service.
#include <algorithm>

#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"
#include "filters/combinations.h"
#include "filters/x3_rules.h"
#include "filters/x4_rules.h"
#include "records/x4_rule.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kPciKey = FilterKey("pci");
constexpr int kNameKey = FilterKey("ifname");
constexpr int kIdKey = FilterKey("id");
constexpr int kMaxKey = FilterKey("max");
constexpr int kShowKey = FilterKey("show");
constexpr int kCombinationKey = FilterKey("comb");

constexpr const char* kInvalidX3 = "Invalid %s\n";
constexpr const char* kInvalidX4 = "Invalid X4 filter argument/value \n";
constexpr const char* kNoInterface = "please specify IfName on which filter needs to be applied \n";
constexpr const char* kNoX3Rule = "please specify FilterId and IfName\n";
constexpr const char* kNoX4Rule = "please specify FilterId and PCIBusLocation\n";

constexpr Required kX3Added[] = {{kNameKey, Required::kFilled, kNoInterface}};
constexpr Required kX3Deleted[] = {{kIdKey, Required::kFilled, kNoX3Rule},
                                   {kNameKey, Required::kFilled, kNoX3Rule}};
constexpr Required kX3Modified[] = {{kIdKey, Required::kFilled, "please specify FilterId\n"},
                                    {kNameKey, Required::kFilled, kNoInterface}};
constexpr Required kTableSize[] = {
    {kMaxKey, Required::kGiven, "Please specify the max filters value to be set\n"},
    {kNameKey, Required::kFilled, kNoInterface},
};

constexpr Required kX4Added[] = {
    {kPciKey, Required::kFilled,
     "Please specify PCIBusLocation  on which filter needs to be applied \n"},
};
constexpr Required kX4Deleted[] = {{kIdKey, Required::kFilled, kNoX4Rule},
                                   {kPciKey, Required::kFilled, kNoX4Rule}};
constexpr Required kX4Modified[] = {
    {kIdKey, Required::kFilled, "Please specify FilterId\n"},
    {kPciKey, Required::kFilled,
     "Please specify PCI Bus location on which filter needs to be applied \n"},
};

constexpr const char* kNoList = "Please specify a valid PCIBusLocation and Show type!\n";
constexpr const char* kNoCombination =
    "Please specify a valid PCIBusLocation and Filter Combination!\n";

constexpr Required kListed[] = {{kPciKey, Required::kFilled, kNoList},
                                {kShowKey, Required::kFilled, kNoList}};
constexpr Required kCombined[] = {{kPciKey, Required::kFilled, kNoCombination},
                                  {kCombinationKey, Required::kFilled, kNoCombination}};

bool HasValue(const Client_Request_Argument& key, uint8_t /*os_type*/) {
    return key.value != nullptr;
}

/// Deleting reads all of a rule's keys as well.
RequestForm X3Form(Command command, std::span<const Argument> arguments,
                   std::span<const Required> required, std::span<const Argument> ignored) {
    return {.service = kFilter,
            .command = command,
            .record_size = sizeof(_Filter),
            .arguments = arguments,
            .required = required,
            .wrong = kInvalidX3,
            .unknown = kInvalidX3,
            .mask_offset = offsetof(_Filter, present),
            .ignored = ignored,
            .is_value = HasValue};
}

RequestForm X4Form(Command command, std::span<const Argument> arguments,
                   std::span<const Required> required) {
    return {.service = kFilter,
            .command = command,
            .record_size = sizeof(_FilterX4),
            .arguments = arguments,
            .required = required,
            .wrong = kInvalidX4,
            .unknown = kInvalidX4,
            .mask_offset = offsetof(_FilterX4, present),
            .ignored = X4Arguments(),
            .is_value = HasValue};
}

const RequestForm kAddX3 = X3Form(kAddFilterX3, X3Arguments(), kX3Added, X3AllArguments());
const RequestForm kDeleteX3 =
    X3Form(kDeleteFilterX3, X3Arguments().first(2), kX3Deleted, X3AllArguments());
const RequestForm kModifyX3 = X3Form(kModifyFilterX3, X3Arguments(), kX3Modified, X3AllArguments());
const RequestForm kSizeForm = X3Form(kMaxFilters, X3TableArguments(), kTableSize, {});
const RequestForm kAddX4 = X4Form(kAddFilterX4, X4Arguments(), kX4Added);
const RequestForm kDeleteX4 = X4Form(kDeleteFilterX4, X4Arguments().first(2), kX4Deleted);
const RequestForm kModifyX4 = X4Form(kModifyFilterX4, X4Arguments(), kX4Modified);

constexpr auto kShown = NumberedWords<kX4Shows>();
constexpr const char* kWrongList = "Invalid Parameter specified\n";
constexpr const char* kWrongCombination = "Invalid Parameter Specified\n";

constexpr Argument kListArguments[] = {
    ZWMGMT_ARGUMENT(FilterListRequest, "pci", Filter, pci_bus_location, kText,
                    .takes = "a PCI bus location"),
    ZWMGMT_ARGUMENT(FilterListRequest, "show", Filter, show, kWord, .words = kShown,
                    .wrong = "Show type should be \"all\" or \"active\".\n"),
};

Verdict SetCombination(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                       const Client_Request_Argument& key, void* record) {
    if (!IsFilterCombination(ValueOf(key))) return Wrong("Filter combination string is invalid\n");
    SetFixedText(static_cast<_FilterX4*>(record)->combination, ValueOf(key));
    return {};
}

constexpr Argument kCombinationArguments[] = {
    ZWMGMT_ARGUMENT(_FilterX4, "pci", Filter, pci_bus_location, kText,
                    .takes = "a PCI bus location"),
    ZWMGMT_ARGUMENT(_FilterX4, "comb", Filter, combination, kOther, .set = SetCombination,
                    .takes = "a line of \"filter showcomb\""),
};

constexpr RequestForm kListX4 = {.service = kFilter,
                                 .command = kListFiltersX4,
                                 .record_size = sizeof(FilterListRequest),
                                 .arguments = kListArguments,
                                 .required = kListed,
                                 .wrong = kWrongList,
                                 .unknown = kWrongList};

constexpr RequestForm kSetModeX4 = {.service = kFilter,
                                    .command = kSetCombination,
                                    .record_size = sizeof(_FilterX4),
                                    .arguments = kCombinationArguments,
                                    .required = kCombined,
                                    .wrong = kWrongCombination,
                                    .unknown = kWrongCombination};

constexpr const char* kNoCriteria = "a rule without criteria matches every packet";

template <class Rule>
int AddRule(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
            const RequestForm& form, uint32_t criteria) {
    Rule rule = {};
    const int refused = BuildRequest(session, request, message, form, &rule);
    if (refused == 0 && (rule.present & criteria) == 0) {
        Remarks::WarnOfRequest(session, kNoCriteria);
    }
    return refused;
}

}  // namespace

std::span<const RequestForm* const> zwmgmt::FilterForms() {
    static const RequestForm* const kForms[] = {&kAddX3,    &kDeleteX3, &kModifyX3,
                                                &kSizeForm, &kAddX4,    &kDeleteX4,
                                                &kModifyX4, &kListX4,   &kSetModeX4};
    return kForms;
}

int ZwMgmt_interface::CLAddFilter(Client_Request_Message* request, _Message* message) {
    return AddRule<_Filter>(*this, request, message, kAddX3, kX3Criteria);
}

int ZwMgmt_interface::CLDeleteFilter(Client_Request_Message* request, _Message* message) {
    _Filter rule = {};
    return BuildRequest(*this, request, message, kDeleteX3, &rule);
}

int ZwMgmt_interface::CLModifyFilter(Client_Request_Message* request, _Message* message) {
    _Filter rule = {};
    return BuildRequest(*this, request, message, kModifyX3, &rule);
}

int ZwMgmt_interface::CLAddFilterX4(Client_Request_Message* request, _Message* message) {
    return AddRule<_FilterX4>(*this, request, message, kAddX4, kX4Criteria);
}

int ZwMgmt_interface::CLDeleteFilterX4(Client_Request_Message* request, _Message* message) {
    _FilterX4 rule = {};
    return BuildRequest(*this, request, message, kDeleteX4, &rule);
}

int ZwMgmt_interface::CLModifyFilterX4(Client_Request_Message* request, _Message* message) {
    _FilterX4 rule = {};
    return BuildRequest(*this, request, message, kModifyX4, &rule);
}

int ZwMgmt_interface::CLListFilters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kListFiltersX3);
}

int ZwMgmt_interface::CLListFiltersX4(Client_Request_Message* request, _Message* message) {
    FilterListRequest payload = {};
    return BuildRequest(*this, request, message, kListX4, &payload);
}

int ZwMgmt_interface::CLSetCombX4(Client_Request_Message* request, _Message* message) {
    _FilterX4 payload = {};
    return BuildRequest(*this, request, message, kSetModeX4, &payload);
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
    const auto keys = KeysOf(request);
    if (const int refused = ReadArguments(*this, keys, kSizeForm, &rule)) return refused;
    const auto is_size = [](const Client_Request_Argument& key) { return key.key == kMaxKey; };
    if (get && std::ranges::any_of(keys, is_size)) {
        return Refuse(*this, "Subcommand GET doesn't take max filters value as an argument\n");
    }
    RequestForm form = kSizeForm;
    if (get) form.required = form.required.last(1);
    if (const int refused = CheckRequired(*this, keys, form, &rule)) return refused;
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

int ZwMgmt_interface::CLListX3Adapters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kListX3Adapters);
}

int ZwMgmt_interface::CLListX4Adapters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kListX4Adapters);
}
