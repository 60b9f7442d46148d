#include "simulator/filter_table.h"

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "commands/chips.h"
#include "filters/combinations.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {

using agent::Failed;
using agent::RecordReply;
using agent::Reply;
using agent::TextReply;
using agent::Unpack;

namespace {

using zwmgmt::Chips;
using zwmgmt::FixedText;

constexpr const char* kFirstCombination = "protocol, tos, vlan, port";

/// Carries out a change of a table of rules by id.
template <class Rule>
Reply Change(agent::Rules<Rule>* rules, const Rule& given, uint16_t opcode) {
    const agent::RuleChange change = agent::RuleChangeOf(opcode);
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

std::optional<Reply> FilterTable::Answer(uint16_t opcode, std::span<const uint8_t> data) {
    switch (opcode) {
        case zwmgmt::kAddFilterX3:
        case zwmgmt::kDeleteFilterX3:
        case zwmgmt::kModifyFilterX3: return ChangeX3(opcode, data);
        case zwmgmt::kAddFilterX4:
        case zwmgmt::kDeleteFilterX4:
        case zwmgmt::kModifyFilterX4: return ChangeX4(opcode, data);
        case zwmgmt::kListFiltersX3: return ListX3();
        case zwmgmt::kListFiltersX4: return ListX4(data);
        case zwmgmt::kSetMaxFilters:
        case zwmgmt::kGetMaxFilters: return MaxFilters(opcode, data);
        case zwmgmt::kSetCombination: return SetCombination(data);
        case zwmgmt::kShowActiveCombination: return ActiveCombinations();
        case zwmgmt::kListX3Adapters: return ListX3Adapters();
        case zwmgmt::kListX4Adapters: return ListX4Adapters();
        default: return std::nullopt;
    }
}

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

Reply FilterTable::ChangeX3(uint16_t opcode, std::span<const uint8_t> data) {
    _Filter rule = {};
    if (!Unpack(data, &rule) || !agent::IsSound(rule)) return Failed(zwmgmt::kInvalidValue);
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X3Table* table = FindX3(FixedText(rule.interface_name));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    return Change(&table->rules, rule, opcode);
}

Reply FilterTable::ChangeX4(uint16_t opcode, std::span<const uint8_t> data) {
    _FilterX4 rule = {};
    if (!Unpack(data, &rule) || !agent::IsSound(rule)) return Failed(zwmgmt::kInvalidValue);
    if (IsLoaded(scenario, "x4_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X4Table* table = FindX4(FixedText(rule.pci_bus_location));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    return Change(&table->rules, rule, opcode);
}

Reply FilterTable::ListX3() {
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    Reply reply;
    for (const auto& [name, table] : x3_tables) {
        for (const auto& [id, rule] : table.rules) {
            const auto* bytes = reinterpret_cast<const uint8_t*>(&rule);
            reply.data.insert(reply.data.end(), bytes, bytes + sizeof(rule));
        }
    }
    return reply.data.empty() ? Failed(zwmgmt::kNoFilters) : reply;
}

Reply FilterTable::ListX4(std::span<const uint8_t> data) {
    FilterListRequest request = {};
    if (!Unpack(data, &request) || request.show < 1 || request.show > 2) {
        return Failed(zwmgmt::kInvalidValue);
    }
    if (IsLoaded(scenario, "x4_tom")) return Failed(zwmgmt::kOffloadLoaded);
    const X4Table* table = FindX4(FixedText(request.pci_bus_location));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    std::string texts;
    for (const auto& [id, rule] : table->rules) texts.append(agent::RuleText(rule)).push_back('\0');
    return texts.empty() ? Failed(zwmgmt::kNoFilters) : TextReply(texts);
}

Reply FilterTable::MaxFilters(uint16_t opcode, std::span<const uint8_t> data) {
    _Filter request = {};
    if (!Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X3Table* table = FindX3(FixedText(request.interface_name));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    if (opcode == zwmgmt::kSetMaxFilters) {
        if (request.max < 0 || request.max > int{agent::kMostRules})
            return Failed(zwmgmt::kInvalidValue);
        table->max = request.max;
        return {};
    }
    return RecordReply(table->max);
}

Reply FilterTable::SetCombination(std::span<const uint8_t> data) {
    _FilterX4 request = {};
    if (!Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    X4Table* table = FindX4(FixedText(request.pci_bus_location));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    const std::string_view combination = FixedText(request.combination);
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

Reply FilterTable::ListX3Adapters() {
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
