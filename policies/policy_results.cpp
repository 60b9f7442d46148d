/// What the reply "tm listpolicy" holds.
#include <cstring>

#include "policies/results.h"
#include "records/policy.h"
#include "zwmgmt/policy.h"

namespace zwmgmt {
namespace {

enum Cell {
    kName,
    kIndex,
    kCondition,
    kExact,
    kOffload,
    kDdp,
    kCoalesce,
    kCongestion,
    kBind,
    kClass,
    kTimestamp,
    kSack,
    kCells,
};

constexpr Field kFields[] = {
    CellField("interface_name", kName),
    CellField("index", kIndex, Decimal()),
    CellField("condition", kCondition),
    CellField("exact", kExact, kFlagSense),
    CellField("offload", kOffload, kFlagSense),
    CellField("ddp", kDdp, kFlagSense),
    CellField("coalesce", kCoalesce, kFlagSense),
    CellField("congestion", kCongestion),
    CellField("bind", kBind, Decimal("CPU")),
    CellField("class", kClass, Decimal()),
    CellField("timestamp", kTimestamp, kFlagSense),
    CellField("sack", kSack, kFlagSense),
};
static_assert(std::size(kFields) == kCells);

std::string FlagText(uint8_t flag) { return flag == 0xFF ? "" : flag != 0 ? "1" : "0"; }

std::string BindText(int32_t cpu) {
    switch (cpu) {
        case -1: return "";
        case -2: return "random";
        case -3: return "cpu";
        default: return std::to_string(cpu);
    }
}

std::string CongestionText(uint8_t code) {
    if (code < std::size(kCongestionWords)) return kCongestionWords[code];
    return code == 0xFF ? "" : std::to_string(code);
}

std::vector<std::string> RowOf(const _OfldPolicy& policy) {
    std::vector<std::string> row(kCells);
    std::string rule;
    if (ParsePolicy::ParsePolicyStructure(policy, &rule) != 0) throw std::bad_alloc();
    const PolicySettings& settings = policy.settings;
    row[kName] = FixedText(policy.interface_name);
    row[kIndex] = std::to_string(policy.index);
    row[kCondition] = rule.substr(0, rule.find(" => "));
    // What no rule compiles to is marked behind the text, or has none.
    row[kExact] = rule.find(" # ") == rule.npos && !rule.starts_with('(') ? "1" : "0";
    row[kOffload] = settings.offload != 0 ? "1" : "0";
    row[kDdp] = FlagText(settings.ddp);
    row[kCoalesce] = FlagText(settings.coalesce);
    row[kCongestion] = CongestionText(settings.congestion);
    row[kBind] = BindText(settings.bind);
    if (settings.traffic_class != 0xFFFF) row[kClass] = std::to_string(settings.traffic_class);
    row[kTimestamp] = FlagText(settings.timestamp);
    row[kSack] = FlagText(settings.sack);
    return row;
}

void Decode(const void* data, uint32_t length, Cells* rows) {
    const auto* policies = static_cast<const _OfldPolicy*>(data);
    for (size_t i = 0; i < length / sizeof(_OfldPolicy); ++i) {
        _OfldPolicy policy;
        std::memcpy(&policy, policies + i, sizeof(policy));
        rows->push_back(RowOf(policy));
    }
}

constexpr const Field* kColumns[] = {FieldNamed(kFields, "interface_name"),
                                     FieldNamed(kFields, "index"),
                                     FieldNamed(kFields, "condition"),
                                     FieldNamed(kFields, "offload"),
                                     FieldNamed(kFields, "ddp"),
                                     FieldNamed(kFields, "congestion"),
                                     FieldNamed(kFields, "bind"),
                                     FieldNamed(kFields, "class")};

}  // namespace

const Description kPolicies = {.name = "policy",
                               .shape = Description::kDecoded,
                               .fields = kFields,
                               .columns = kColumns,
                               .decode = Decode};

}  // namespace zwmgmt
