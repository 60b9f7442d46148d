#include "simulator/filter_table.h"

#include "agent/replies.h"
#include "commands/chips.h"
#include "filters/combinations.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"

namespace zmsim {

using agent::Failed;
using agent::RecordReply;
using agent::Reply;
using agent::TextReply;

namespace {

using zwmgmt::Chips;
using zwmgmt::FixedText;

constexpr const char* kFirstCombination = "protocol, tos, vlan, port";

/// Carries out a change of a table of rules by id.
template <class Rule>
Reply CarryOut(agent::Rules<Rule>* rules, agent::RuleChange change, const Rule& given) {
    Rule changed = {};
    Reply reply = agent::Judge(*rules, change, given, {}, &changed);
    if (reply.status != zwmgmt::kSuccess) return reply;
    const auto id = static_cast<uint32_t>(changed.id);
    if (change == agent::RuleChange::kDelete) {
        rules->erase(id);
    } else {
        (*rules)[id] = changed;
    }
    return reply;
}

}  // namespace

FilterTable::X3Table* FilterTable::FindX3(std::string_view interface_name) {
    for (const Adapter& adapter : scenario.adapters) {
        if (!IsOneOf(Chips::kX3, FixedText(adapter.card.chip_type))) continue;
        for (const Port& port : adapter.ports) {
            if (FixedText(port.record.name) == interface_name) {
                return &x3_tables[std::string(interface_name)];
            }
        }
    }
    return nullptr;
}

FilterTable::X4Table* FilterTable::FindX4(std::string_view pci_bus_location) {
    for (const Adapter& adapter : scenario.adapters) {
        if (IsOneOf(Chips::kX4AndX5, FixedText(adapter.card.chip_type)) &&
            FixedText(adapter.card.pci_bus_location) == pci_bus_location) {
            return &x4_tables[std::string(pci_bus_location)];
        }
    }
    return nullptr;
}

Reply FilterTable::Change(agent::RuleChange change, const _Filter& rule) {
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X3Table* table = FindX3(FixedText(rule.interface_name));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    return CarryOut(&table->rules, change, rule);
}

Reply FilterTable::Change(agent::RuleChange change, const _FilterX4& rule) {
    if (IsLoaded(scenario, "x4_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X4Table* table = FindX4(FixedText(rule.pci_bus_location));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    return CarryOut(&table->rules, change, rule);
}

Reply FilterTable::List(std::vector<_Filter>* rules) {
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    for (const auto& [name, table] : x3_tables) {
        for (const auto& [id, rule] : table.rules) rules->push_back(rule);
    }
    return {};
}

Reply FilterTable::List(std::string_view pci_bus_location, std::vector<_FilterX4>* rules) {
    if (IsLoaded(scenario, "x4_tom")) return Failed(zwmgmt::kOffloadLoaded);
    const X4Table* table = FindX4(pci_bus_location);
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    for (const auto& [id, rule] : table->rules) rules->push_back(rule);
    return {};
}

Reply FilterTable::GetMost(std::string_view interface_name) {
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    const X3Table* table = FindX3(interface_name);
    return table != nullptr ? RecordReply(table->max) : Failed(zwmgmt::kNoPorts);
}

Reply FilterTable::SetMost(std::string_view interface_name, int32_t most) {
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X3Table* table = FindX3(interface_name);
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    if (most < 0 || most > int{agent::kMostRules}) return Failed(zwmgmt::kInvalidValue);
    table->max = most;
    return {};
}

Reply FilterTable::SetCombination(std::string_view pci_bus_location, std::string_view combination) {
    X4Table* table = FindX4(pci_bus_location);
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    if (!zwmgmt::IsFilterCombination(combination)) return Failed(zwmgmt::kInvalidValue);
    table->combination = combination;
    return {};
}

Reply FilterTable::ActiveCombinations() {
    if (IsLoaded(scenario, "x3_tom") || IsLoaded(scenario, "x4_tom"))
        return Failed(zwmgmt::kOffloadLoaded);
    std::string text;
    for (const Adapter& adapter : scenario.adapters) {
        const std::string_view location = FixedText(adapter.card.pci_bus_location);
        const X4Table* table = FindX4(location);
        if (table == nullptr) continue;
        text.append(location).append(": ");
        text.append(table->combination.empty() ? kFirstCombination : table->combination);
        text.push_back('\n');
    }
    return TextReply(text);
}

Reply FilterTable::ListX3Interfaces() {
    std::string names;
    for (const Adapter& adapter : scenario.adapters) {
        if (!IsOneOf(Chips::kX3, FixedText(adapter.card.chip_type))) continue;
        for (const Port& port : adapter.ports) {
            names.append(FixedText(port.record.name)).append("\n");
        }
    }
    return TextReply(names);
}

Reply FilterTable::ListX4Adapters() {
    std::string names;
    for (const Adapter& adapter : scenario.adapters) {
        if (!IsOneOf(Chips::kX4AndX5, FixedText(adapter.card.chip_type))) continue;
        names.append(FixedText(adapter.card.pci_bus_location)).append("\n");
    }
    return TextReply(names);
}

}  // namespace zmsim
