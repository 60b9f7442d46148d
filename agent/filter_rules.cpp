#include "agent/filter_rules.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "agent/judge.h"
#include "agent/replies.h"
#include "platform/address.h"
#include "records/x3_rule.h"
#include "records/x4_rule.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt::agent {
namespace {

/// IPv6 rules take four places of the table, from their id on.
uint32_t PlacesOf(const _FilterX4& rule) {
    return (rule.present & kX4FamilyBits) != 0 && rule.address_family != 0 ? 4 : 1;
}

uint32_t PlacesOf(const _Filter&) { return 1; }

/// Whether a change leaves the rule with addresses of two families.
bool MixesFamilies(const _FilterX4& given, const _FilterX4& rule) {
    return (given.present & kX4FamilyBits) != 0 && (rule.present & kX4FamilyBits) != 0 &&
           given.address_family != rule.address_family;
}

bool MixesFamilies(const _Filter&, const _Filter&) { return false; }

/// A member that a bit of `present` stands for goes where it was given.
template <class Rule, class Member>
void CopyMember(const Rule& from, Rule* to, const Member& member) {
    if ((from.present & member.bit) == 0) return;
    std::memcpy(reinterpret_cast<char*>(to) + member.offset,
                reinterpret_cast<const char*>(&from) + member.offset, member.width);
    to->present |= member.bit;
}

/// Whether a rule can begin at this id: a multiple of its places, none of which another rule has.
template <class Rule>
bool IsFree(const Rules<Rule>& rules, const RuleIds& ids, uint32_t id, uint32_t places) {
    if (id == 0 || id > ids.most || id % places != 0) return false;
    const auto taken = ids.taken.lower_bound(id);
    if (taken != ids.taken.end() && *taken - id < places) return false;
    const auto next = rules.lower_bound(id);
    if (next != rules.end() && next->first - id < places) return false;
    if (next == rules.begin()) return true;
    const auto& before = *std::prev(next);
    return id - before.first >= PlacesOf(before.second);
}

/// 0: there is none.
template <class Rule>
uint32_t FreeId(const Rules<Rule>& rules, const RuleIds& ids, uint32_t places) {
    for (uint32_t id = places; id <= ids.most; id += places) {
        if (IsFree(rules, ids, id, places)) return id;
    }
    return 0;
}

template <class Rule>
Reply Add(const Rules<Rule>& rules, const RuleIds& ids, Rule* rule) {
    const uint32_t places = PlacesOf(*rule);
    if (rules.size() >= kMostRules) return Failed(kInvalidFilterId, "there are too many rules");
    if (rule->id == 0) rule->id = static_cast<decltype(+rule->id)>(FreeId(rules, ids, places));
    const bool free = IsFree(rules, ids, static_cast<uint32_t>(rule->id), places);
    return free ? Reply{} : Failed(kInvalidFilterId, "no rule can have this id now");
}

/// A rule that becomes one of IPv6 grows into the places behind it.
template <class Rule>
Reply Modify(const Rules<Rule>& rules, const RuleIds& ids, const Rule& given, Rule* changed) {
    if (MixesFamilies(given, *changed)) return Failed(kInvalidValue, "addresses of two families");
    CopyGiven(given, changed);
    if (!IsSound(*changed)) return Failed(kInvalidValue, "no rule can become this one");
    const auto id = static_cast<uint32_t>(given.id);
    const uint32_t places = PlacesOf(*changed);
    if (places == PlacesOf(rules.at(id))) return {};
    Rules<Rule> others = rules;  // a rule is not in its own way
    others.erase(id);
    return IsFree(others, ids, id, places) ? Reply{}
                                           : Failed(kInvalidFilterId, "there is no room for it");
}

template <class Rule>
Reply JudgeChange(const Rules<Rule>& rules, RuleChange change, const Rule& given,
                  const RuleIds& ids, Rule* changed) {
    if (change == RuleChange::kAdd) {
        *changed = given;
        return Add(rules, ids, changed);
    }
    const auto found = rules.find(static_cast<uint32_t>(given.id));
    if (found == rules.end()) return Failed(kInvalidFilterId, "no rule has this id");
    *changed = found->second;
    return change == RuleChange::kModify ? Modify(rules, ids, given, changed) : Reply{};
}

std::string AddressText(const FilterAddress& address, bool ipv6) {
    const auto family = ipv6 ? platform::Family::kIpv6 : platform::Family::kIpv4;
    char text[46] = "";
    platform::FormatAddress(family, address.address, text, sizeof(text));
    int prefix = 0;
    for (size_t i = 0; i < platform::AddressSize(family); ++i) {
        for (uint8_t bits = address.mask[i]; bits != 0; bits = static_cast<uint8_t>(bits << 1))
            ++prefix;
    }
    return std::string(text) + "/" + std::to_string(prefix);
}

std::string Value(const _FilterX4& rule, const X4Field& field) {
    const char* member = reinterpret_cast<const char*>(&rule) + field.offset;
    switch (field.form) {
        case X4Field::kMasked: {
            FilterField masked;
            std::memcpy(&masked, member, sizeof(masked));
            char text[32];
            std::snprintf(text, sizeof(text), "%#x:%#x", masked.value, masked.mask);
            return text;
        }
        case X4Field::kAddress: {
            FilterAddress address;
            std::memcpy(&address, member, sizeof(address));
            return AddressText(address, rule.address_family != 0);
        }
        case X4Field::kNumber: {
            uint32_t number;
            std::memcpy(&number, member, sizeof(number));
            return std::to_string(number);
        }
        case X4Field::kText: return std::string(FixedText(member, field.width));
    }
    return "";
}

}  // namespace

RuleChange RuleChangeOf(uint16_t opcode) {
    switch (opcode) {
        case kAddFilterX3:
        case kAddFilterX4: return RuleChange::kAdd;
        case kModifyFilterX3:
        case kModifyFilterX4: return RuleChange::kModify;
        default: return RuleChange::kDelete;
    }
}

void CopyGiven(const _Filter& given, _Filter* rule) {
    for (const Field& field : kX3RuleFields) CopyMember(given, rule, field);
    constexpr uint32_t kSource = 0x1;
    constexpr uint32_t kPrefix = 0x2;
    if ((given.present & (kSource | kPrefix)) == kSource) {  // a whole address replaces a prefix
        rule->source_prefix = 0;
        rule->present &= ~kPrefix;
    }
}

void CopyGiven(const _FilterX4& given, _FilterX4* rule) {
    for (const X4Field& field : kX4Fields) CopyMember(given, rule, field);
    if ((given.present & kX4FamilyBits) != 0) rule->address_family = given.address_family;
}

Reply Judge(const Rules<_Filter>& rules, RuleChange change, const _Filter& given,
            const RuleIds& ids, _Filter* changed) {
    return JudgeChange(rules, change, given, ids, changed);
}

Reply Judge(const Rules<_FilterX4>& rules, RuleChange change, const _FilterX4& given,
            const RuleIds& ids, _FilterX4* changed) {
    return JudgeChange(rules, change, given, ids, changed);
}

std::string RuleText(const _FilterX4& rule) {
    std::string text = "Filter id " + std::to_string(rule.id);
    for (const X4Field& field : kX4Fields) {
        if ((rule.present & field.bit) == 0) continue;
        text.append("\n    ").append(field.label).append(": ").append(Value(rule, field));
    }
    return text;
}

}  // namespace zwmgmt::agent
