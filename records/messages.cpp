#include "records/messages.h"

#include <algorithm>

#include "records/capabilities.h"
#include "records/card.h"
#include "records/counter.h"
#include "records/driver.h"
#include "records/file_transfer.h"
#include "records/net.h"
#include "records/policy.h"
#include "records/port.h"
#include "records/session.h"
#include "records/x3_rule.h"
#include "records/x4_rule.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt {
namespace {

constexpr RecordForm kLogin = {"login", sizeof(LoginRecord), kLoginFields};
constexpr RecordForm kAgent = {"capabilities", sizeof(Capabilities), kCapabilitiesFields};
constexpr RecordForm kCard = {"adapter", offsetof(_CardInformation, next), kCardFields};
constexpr RecordForm kCardRequest = {"card_request", sizeof(CardPropertyRequest),
                                     kCardRequestFields};
constexpr RecordForm kPort = {"port", offsetof(_PortInformation, next), kPortFields};
constexpr RecordForm kPortRequest = {"port_request", sizeof(PortRequest), kPortRequestFields};
constexpr RecordForm kCounter = {"counter", offsetof(VqStat, next), kCounterFields};
constexpr RecordForm kDriver = {"driver", offsetof(DriverInfo, next), kDriverFields};
constexpr RecordForm kDriverLoad = {"driver_load", sizeof(DriverLoadRequest), kDriverLoadFields};
constexpr RecordForm kFile = {"file", sizeof(FileTransferRecord), kFileTransferFields};
constexpr RecordForm kProbe = {"probe", sizeof(PingRequest), kPingRequestFields};
constexpr RecordForm kPingOutcome = {"ping", sizeof(_PingResponse), kPingFields};
constexpr RecordForm kHop = {"hop", sizeof(_NextHopRouter), kHopFields};
constexpr RecordForm kMtu = {"mtu", sizeof(MtuRequest), kMtuFields};

constexpr RecordForm kX3Rule = {.name = "x3_rule",
                                .size = sizeof(_Filter),
                                .fields = kX3WireFields,
                                .present = offsetof(_Filter, present)};
constexpr RecordForm kRuleTable = {"rule_table", sizeof(int32_t), kRuleTableFields};

constexpr RecordForm kX4Masked = {"masked", sizeof(FilterField), kX4MaskedFields};
constexpr RecordForm kX4Address = {"address", sizeof(FilterAddress), kX4AddressFields};

constexpr bool IsPart(const X4Field& field) {
    return field.form == X4Field::kMasked || field.form == X4Field::kAddress;
}
constexpr auto kX4PartCount = std::ranges::count_if(kX4Fields, IsPart);

consteval auto X4WireFields() {
    std::array<Field, std::size(kX4Fields) - kX4PartCount + std::size(kX4OwnFields)> rows = {};
    auto row = std::ranges::copy(kX4OwnFields, rows.begin()).out;
    for (const X4Field& field : kX4Fields) {
        if (IsPart(field)) continue;
        const bool text = field.form == X4Field::kText;
        // Addresses tell the family, too: it is there without its bit.
        const bool family = std::string_view(field.name) == "address_family";
        *row++ = {field.name,
                  field.offset,
                  field.width,
                  text ? FieldType::kText : FieldType::kUnsigned,
                  family                ? FamilyOf(field.words)
                  : field.words.empty() ? Sense{}
                                        : OneOf(field.words),
                  family ? 0 : field.bit};
    }
    return rows;
}

consteval auto X4WireParts() {
    std::array<RecordPart, kX4PartCount> rows = {};
    auto row = rows.begin();
    for (const X4Field& field : kX4Fields) {
        if (!IsPart(field)) continue;
        const bool masked = field.form == X4Field::kMasked;
        *row++ = {field.name, field.offset, masked ? &kX4Masked : &kX4Address, 1, field.bit};
    }
    return rows;
}

constexpr auto kX4WireFields = X4WireFields();
constexpr auto kX4WireParts = X4WireParts();
constexpr RecordForm kX4Rule = {"x4_rule", sizeof(_FilterX4), kX4WireFields, kX4WireParts,
                                offsetof(_FilterX4, present)};
constexpr RecordForm kX4List = {"x4_list", sizeof(FilterListRequest), kX4ListFields};

constexpr RecordForm kPolicyTest = {"policy_test", sizeof(PolicyFields), kPolicyTestFields};
constexpr RecordPart kInstructionParts[] = {
    {"value", offsetof(PolicyInstruction, value), &kPolicyTest},
    {"mask", offsetof(PolicyInstruction, mask), &kPolicyTest},
};
constexpr RecordForm kInstruction = {"policy_instruction", sizeof(PolicyInstruction),
                                     kPolicyInstructionFields, kInstructionParts};
constexpr RecordForm kPolicySettings = {"policy_settings", sizeof(PolicySettings),
                                        kPolicySettingFields};
constexpr RecordPart kPolicyParts[] = {
    {"program", offsetof(_OfldPolicy, program), &kInstruction, kPolicyInstructions},
    {"settings", offsetof(_OfldPolicy, settings), &kPolicySettings},
};
constexpr RecordForm kPolicy = {"policy", sizeof(_OfldPolicy), kPolicyFields, kPolicyParts};

using enum Payload::Form;
constexpr Payload kNone = {};
constexpr Payload kOneText = {kText};
constexpr Payload One(const RecordForm& record) { return {kRecord, &record}; }
constexpr Payload Run(const RecordForm& record) { return {kRun, &record}; }
constexpr Payload List(const RecordForm& record) { return {kList, &record}; }

constexpr MessageForm kMessages[] = {
    {kSession, 0, "opening or login", false, One(kLogin), kNone},
    {kSession, kLogoutOpcode, "logout", false, kNone, kNone},
    {kNet, kSetMtu, "net mtu set", true, One(kMtu), kNone},
    {kNet, kPing, "net ping", false, One(kProbe), kNone},
    {kNet, kPingResult, "net ping getresult", false, kNone, One(kPingOutcome)},
    {kNet, kTraceRoute, "net traceroute", false, One(kProbe), kNone},
    {kNet, kTraceRouteResult, "net traceroute getresult", false, kNone, Run(kHop)},
    {kKorvane, kListAdapterProps, "korvane listadapterprops", false, kNone, List(kCard)},
    {kKorvane, kListPorts, "korvane listports", false, kOneText, List(kPort)},
    {kKorvane, kGetCardStats, "korvane getcardstats", false, kOneText, List(kCounter)},
    {kKorvane, kGetPortStats, "korvane getportstats", false, One(kPortRequest), List(kCounter)},
    {kKorvane, kSetCardProperty, "korvane setcardproperty", true, One(kCardRequest), kNone},
    {kKorvane, kSetPortProperty, "korvane setportproperty", true, One(kPortRequest), kNone},
    {kSystem, kGetCapabilities, "system getcapabilities", false, kNone, One(kAgent)},
    {kSystem, kListDrivers, "system listdrivers", false, kNone, List(kDriver)},
    {kSystem, kInstall, "system install", true, One(kFile), kNone},
    {kSystem, kGetInstallResult, "system getinstallresult", false, kNone, kOneText},
    {kSystem, kLoadDriver, "system loaddriver", true, One(kDriverLoad), kNone, kXen},
    {kSystem, kLoadDriver, "system loaddriver", true, kOneText, kNone},
    {kSystem, kReloadDriver, "system reloaddriver", true, One(kDriverLoad), kNone, kXen},
    {kSystem, kReloadDriver, "system reloaddriver", true, kOneText, kNone},
    {kSystem, kUnloadDriver, "system unloaddriver", true, kOneText, kNone},
    {kFilter, kAddFilterX3, "filter addx3", true, One(kX3Rule), kNone},
    {kFilter, kDeleteFilterX3, "filter deletex3", true, One(kX3Rule), kNone},
    {kFilter, kModifyFilterX3, "filter modifyx3", true, One(kX3Rule), kNone},
    {kFilter, kListFiltersX3, "filter listx3", false, kNone, Run(kX3Rule)},
    {kFilter, kSetMaxFilters, "filter maxfilters set", true, One(kX3Rule), kNone},
    {kFilter, kGetMaxFilters, "filter maxfilters get", false, One(kX3Rule), One(kRuleTable)},
    {kFilter, kAddFilterX4, "filter add", true, One(kX4Rule), kNone},
    {kFilter, kDeleteFilterX4, "filter delete", true, One(kX4Rule), kNone},
    {kFilter, kModifyFilterX4, "filter modify", true, One(kX4Rule), kNone},
    {kFilter, kListFiltersX4, "filter list", false, One(kX4List), {kTexts}},
    {kFilter, kSetCombination, "filter setcomb", true, One(kX4Rule), kNone},
    {kFilter, kShowActiveCombination, "filter showactivecomb", false, kNone, kOneText},
    {kFilter, kListX3Adapters, "filter listx3adapters", false, kNone, kOneText},
    {kFilter, kListX4Adapters, "filter listadapters", false, kNone, kOneText},
    {kTm, kAddPolicy, "tm add", true, One(kPolicy), kNone},
    {kTm, kModifyPolicy, "tm modify", true, One(kPolicy), kNone},
    {kTm, kDeletePolicy, "tm delete", true, One(kPolicy), kNone},
    {kTm, kListPolicies, "tm list", false, kNone, Run(kPolicy)},
};

}  // namespace

constexpr RecordForm kHeaderForm = {"header", kHeaderSize, kHeaderFields};

const char* MessageForm::Command() const {
    const char* blank = service != kSession ? std::strchr(name, ' ') : nullptr;
    return blank != nullptr ? blank + 1 : name;
}

std::span<const MessageForm> MessageForms() { return kMessages; }

const MessageForm* FindMessageForm(uint8_t service, uint16_t opcode, uint8_t os_type) {
    for (const MessageForm& form : kMessages) {
        const bool same_agents = form.os_type == 0 || form.os_type == os_type;
        if (form.service == service && form.opcode == opcode && same_agents) return &form;
    }
    return nullptr;
}

}  // namespace zwmgmt
