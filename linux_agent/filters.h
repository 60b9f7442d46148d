/// The filter service on the kernel's own tables, which are the only store of its rules.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "agent/host_model.h"
#include "linux_agent/interfaces.h"
#include "linux_agent/rule_table.h"

namespace zmagent {

namespace agent = zwmgmt::agent;

/// A rule before and after it was changed; nothing: there was none.
struct RuleChanged {
    RuleKind kind;
    Interface port;
    uint32_t id;
    std::optional<_FilterX4> before;
    std::optional<_FilterX4> after;
};

/// The answer to a request of the filter service; nothing to one that it does not know. What was
/// to be changed goes into *changed.
std::optional<agent::Reply> AnswerFilter(Kernel& kernel, const std::vector<Adapter>& adapters,
                                         uint16_t opcode, std::span<const uint8_t> data,
                                         std::optional<RuleChanged>* changed);
/// Has the rule as it was, unless it has been changed again.
agent::Reply PutBack(Kernel& kernel, const RuleChanged& changed);

/// Whether any of these adapters has a table of its own for rules.
bool HaveReceiveRules(Kernel& kernel, const std::vector<Adapter>& adapters);

}  // namespace zmagent
