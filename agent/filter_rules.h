/// Tables of filter rules by id: what a change of one comes to, and how agents list X4 rules.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "agent/host_model.h"
#include "zwmgmt/records/filter.h"

namespace zwmgmt::agent {

template <class Rule>
using Rules = std::map<uint32_t, Rule>;  // by id

/// Of an adapter or interface: what a client can still list.
inline constexpr size_t kMostRules = 1024;

/// The ids that a table has, beside those that its rules leave.
struct RuleIds {
    uint32_t most = INT32_MAX;
    std::set<uint32_t> taken = {};  // by what is no rule of this table
};

enum class RuleChange { kAdd, kModify, kDelete };

/// Of an opcode that changes a rule.
RuleChange RuleChangeOf(uint16_t opcode);

/// What is given of a rule goes into the other one; the rest of that stays.
void CopyGiven(const _Filter& given, _Filter* rule);
void CopyGiven(const _FilterX4& given, _FilterX4* rule);

/// The outcome of a change by a sound record. On success *changed is the rule as it is to be, with
/// an id where it had none; of one that is deleted, as it was.
Reply Judge(const Rules<_Filter>& rules, RuleChange change, const _Filter& given,
            const RuleIds& ids, _Filter* changed);
Reply Judge(const Rules<_FilterX4>& rules, RuleChange change, const _FilterX4& given,
            const RuleIds& ids, _FilterX4* changed);

/// "Filter id N", then a line "label: value" for each member that was given.
std::string RuleText(const _FilterX4& rule);

}  // namespace zwmgmt::agent
