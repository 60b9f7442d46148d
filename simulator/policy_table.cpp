#include "simulator/policy_table.h"

#include <algorithm>

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {

using agent::Failed;
using agent::Reply;

using agent::Unpack;
using zwmgmt::FixedText;

namespace {

/// What a record of an opcode says that it does.
uint8_t OperationOf(uint16_t opcode) {
    return opcode == zwmgmt::kAddPolicy ? 2 : opcode == zwmgmt::kModifyPolicy ? 3 : 4;
}

}  // namespace

std::optional<Reply> PolicyTable::Answer(uint16_t opcode, std::span<const uint8_t> data) {
    const bool list = opcode == zwmgmt::kListPolicies;
    if (!list && opcode != zwmgmt::kAddPolicy && opcode != zwmgmt::kModifyPolicy &&
        opcode != zwmgmt::kDeletePolicy) {
        return std::nullopt;
    }
    if (!IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadNotLoaded);
    return list ? List() : Change(opcode, data);
}

/// An index is a position from 1; without one a new policy goes to the end.
Reply PolicyTable::Change(uint16_t opcode, std::span<const uint8_t> data) {
    _OfldPolicy policy = {};
    if (!Unpack(data, &policy)) return Failed(zwmgmt::kInvalidValue);
    const std::string name(FixedText(policy.interface_name));
    if (policy.operation != OperationOf(opcode) || name.size() == sizeof(policy.interface_name) ||
        (opcode != zwmgmt::kDeletePolicy && !agent::IsSound(policy))) {
        return Failed(zwmgmt::kInvalidValue);
    }
    if (!HasPort(scenario, name)) return Failed(zwmgmt::kNoPorts);
    std::vector<_OfldPolicy>& own = policies[name];
    const bool add = opcode == zwmgmt::kAddPolicy;
    const size_t position = policy.index != 0 ? policy.index - size_t{1} : own.size();
    if (position > own.size() || (position == own.size() && !add) ||
        (add && own.size() == UINT8_MAX)) {
        return Failed(zwmgmt::kInvalidFilterId);
    }
    const auto at = own.begin() + static_cast<ptrdiff_t>(position);
    if (add) {
        own.insert(at, policy);
    } else if (opcode == zwmgmt::kModifyPolicy) {
        *at = policy;
    } else {
        own.erase(at);
    }
    for (size_t i = 0; i < own.size(); ++i) own[i].index = static_cast<uint8_t>(i + 1);
    return {};
}

Reply PolicyTable::List() const {
    Reply reply;
    for (const auto& [name, own] : policies) {
        for (const _OfldPolicy& policy : own) agent::AppendRecord(policy, &reply);
    }
    return reply.data.empty() ? Failed(zwmgmt::kNoPolicies) : reply;
}

}  // namespace zmsim
