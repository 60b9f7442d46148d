/// Filter rules in an adapter's own table: ethtool's receive rules.
#pragma once

#include <linux/ethtool.h>

#include <optional>
#include <string>

#include "linux_agent/rule_table.h"

namespace zmagent {

/// Nothing but its place tells whose a receive rule is: of the table's four quarters the second has
/// those of X4 commands, the third those of X3 commands. The others are left to others; ethtool
/// itself begins at the end. A rule in these quarters that the agent could not have made is
/// another's.
class ReceiveRules : public RuleTable {
  public:
    ReceiveRules(Kernel& of_kernel, std::string interface_name)
        : kernel(of_kernel), interface(std::move(interface_name)) {}

    uint32_t Size() override;
    HeldRules Read(RuleKind kind) override;
    Outcome Put(RuleKind kind, const _FilterX4& rule, const _FilterX4* before) override;
    Outcome Remove(RuleKind kind, uint32_t id) override;

  private:
    std::vector<uint32_t> Locations(uint32_t* size);
    /// The location of a kind's first rule.
    uint32_t FirstOf(RuleKind kind);
    std::optional<ethtool_rx_flow_spec> RuleAt(uint32_t location);
    Outcome Insert(const ethtool_rx_flow_spec& spec);

    Kernel& kernel;
    const std::string interface;
};

/// Whether the adapter has such a table, and it is switched on ("ethtool -k": ntuple-filters).
bool HasReceiveRules(Kernel& kernel, const std::string& interface_name);

}  // namespace zmagent
