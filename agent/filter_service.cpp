#include "agent/filter_service.h"

#include <string>

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt::agent {
namespace {

Reply NoRule() { return Failed(kInvalidValue, "not a rule"); }

}  // namespace

std::optional<Reply> FilterService::Answer(uint16_t opcode, std::span<const uint8_t> data) {
    _Filter x3 = {};
    _FilterX4 x4 = {};
    switch (opcode) {
        case kAddFilterX3:
        case kDeleteFilterX3:
        case kModifyFilterX3: return ReadAndChange<_Filter>(opcode, data);
        case kAddFilterX4:
        case kDeleteFilterX4:
        case kModifyFilterX4: return ReadAndChange<_FilterX4>(opcode, data);
        case kListFiltersX3: return ListX3();
        case kListFiltersX4: return ListX4(data);
        case kGetMaxFilters:
            return Unpack(data, &x3) ? GetMost(FixedText(x3.interface_name)) : NoRule();
        case kSetMaxFilters:
            return Unpack(data, &x3) ? SetMost(FixedText(x3.interface_name), x3.max) : NoRule();
        case kShowActiveCombination: return ActiveCombinations();
        case kSetCombination:
            return Unpack(data, &x4)
                       ? SetCombination(FixedText(x4.pci_bus_location), FixedText(x4.combination))
                       : NoRule();
        case kListX3Adapters: return ListX3Interfaces();
        case kListX4Adapters: return ListX4Adapters();
        default: return std::nullopt;
    }
}

template <class Rule>
Reply FilterService::ReadAndChange(uint16_t opcode, std::span<const uint8_t> data) {
    Rule rule = {};
    if (!Unpack(data, &rule) || !IsSound(rule)) return NoRule();
    return Change(RuleChangeOf(opcode), rule);
}

Reply FilterService::ListX3() {
    std::vector<_Filter> rules;
    Reply reply = List(&rules);
    if (reply.status != kSuccess) return reply;
    for (const _Filter& rule : rules) AppendRecord(rule, &reply);
    return rules.empty() ? Failed(kNoFilters) : reply;
}

/// All rules are active ones.
Reply FilterService::ListX4(std::span<const uint8_t> data) {
    FilterListRequest request = {};
    if (!Unpack(data, &request) || request.show < 1 || request.show > 2) return NoRule();
    std::vector<_FilterX4> rules;
    Reply reply = List(FixedText(request.pci_bus_location), &rules);
    if (reply.status != kSuccess) return reply;
    std::string texts;
    for (const _FilterX4& rule : rules) texts.append(RuleText(rule)).push_back('\0');
    return rules.empty() ? Failed(kNoFilters) : TextReply(texts);
}

}  // namespace zwmgmt::agent
