/// A table of the kernel's in which a port has filter rules, of the agent's and of others.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "agent/filter_rules.h"
#include "linux_agent/interfaces.h"

namespace zmagent {

namespace agent = zwmgmt::agent;

/// The commands that a rule is of: each has ids of its own, and sees its own rules alone.
enum class RuleKind { kX4, kX3 };

/// What a table has at the places of the agent's rules.
struct HeldRules {
    agent::Rules<_FilterX4> rules = {};  // the agent's, plain
    std::set<uint32_t> taken = {};       // ids whose places others have
};

class RuleTable {
  public:
    virtual ~RuleTable() = default;

    /// The highest id.
    virtual uint32_t Size() = 0;
    virtual HeldRules Read(RuleKind kind) = 0;
    /// A rule in its plain form; `before`: the one of this id that it takes the place of. Where
    /// that fails all is as it was, or the reason says what is not.
    virtual Outcome Put(RuleKind kind, const _FilterX4& rule, const _FilterX4* before) = 0;
    /// A rule that was read.
    virtual Outcome Remove(RuleKind kind, uint32_t id) = 0;
};

/// The port's tables; new rules go to the first one.
std::vector<std::unique_ptr<RuleTable>> TablesOf(Kernel& kernel, const Interface& port);

}  // namespace zmagent
