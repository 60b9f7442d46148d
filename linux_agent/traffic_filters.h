/// Filter rules in the kernel's traffic control: flower filters on what comes in by a port.
#pragma once

#include <map>

#include "linux_agent/rule_table.h"

namespace zmagent {

/// A rule is a filter that stands alone at its priority, so that priorities order them as ids do.
/// Filters of the agent's are known by the priority and by the cookie of their one action.
class TrafficFilters : public RuleTable {
  public:
    TrafficFilters(Kernel& of_kernel, uint32_t interface_index)
        : kernel(of_kernel), interface(interface_index) {}

    uint32_t Size() override;
    HeldRules Read(RuleKind kind) override;
    Outcome Put(RuleKind kind, const _FilterX4& rule, const _FilterX4* before) override;
    Outcome Remove(RuleKind kind, uint32_t id) override;

  private:
    Outcome Add(RuleKind kind, const _FilterX4& rule);
    Outcome Replace(RuleKind kind, const _FilterX4& rule, const _FilterX4& before);
    Outcome Write(RuleKind kind, const _FilterX4& rule, uint16_t flags, uint32_t handle);
    Outcome Remove(RuleKind kind, uint32_t id, uint32_t handle);

    Kernel& kernel;
    const uint32_t interface;
    std::map<uint32_t, uint32_t> handles;  // of the rules that were read last, by priority
};

/// Whether the kernel has all that such rules take: it is tried on the loopback interface.
bool HasTrafficFilters(Kernel& kernel);

}  // namespace zmagent
