#include "simulator/filter_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "commands/chips.h"
#include "filters/combinations.h"
#include "platform/address.h"
#include "records/x3_rule.h"
#include "records/x4_rule.h"
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
using zwmgmt::Field;
using zwmgmt::FixedText;
using zwmgmt::kX3RuleFields;
using zwmgmt::kX4Fields;
using zwmgmt::X4Field;

constexpr const char* kFirstCombination = "protocol, tos, vlan, port";

constexpr size_t kMostRules = 1024;  // of an adapter or interface: what a client can still list

/// IPv6 rules take four places of the table, from their id on.
uint32_t PlacesOf(const _FilterX4& rule) {
    return (rule.present & zwmgmt::kX4FamilyBits) != 0 && rule.address_family != 0 ? 4 : 1;
}

uint32_t PlacesOf(const _Filter&) { return 1; }

/// Whether a change leaves the rule with addresses of two families.
bool MixesFamilies(const _FilterX4& given, const _FilterX4& rule) {
    return (given.present & zwmgmt::kX4FamilyBits) != 0 &&
           (rule.present & zwmgmt::kX4FamilyBits) != 0 &&
           given.address_family != rule.address_family;
}

bool MixesFamilies(const _Filter&, const _Filter&) { return false; }

/// A member that a bit of `present` stands for goes where it was given.
template <class Rule, class Member>
void CopyGiven(const Rule& from, Rule* to, const Member& member) {
    if ((from.present & member.bit) == 0) return;
    std::memcpy(reinterpret_cast<char*>(to) + member.offset,
                reinterpret_cast<const char*>(&from) + member.offset, member.width);
    to->present |= member.bit;
}

void Modify(const _Filter& given, _Filter* rule) {
    for (const Field& field : kX3RuleFields) CopyGiven(given, rule, field);
    constexpr uint32_t kSource = 0x1;
    constexpr uint32_t kPrefix = 0x2;
    if ((given.present & (kSource | kPrefix)) == kSource) {  // a whole address replaces a prefix
        rule->source_prefix = 0;
        rule->present &= ~kPrefix;
    }
}

void Modify(const _FilterX4& given, _FilterX4* rule) {
    for (const X4Field& field : kX4Fields) CopyGiven(given, rule, field);
    if ((given.present & zwmgmt::kX4FamilyBits) != 0) rule->address_family = given.address_family;
}

/// Whether a rule can begin at this id: a multiple of its places, none of which another rule has.
template <class Rules>
bool IsFree(const Rules& rules, uint32_t id, uint32_t places) {
    if (id == 0 || id > INT32_MAX || id % places != 0) return false;
    const auto next = rules.lower_bound(static_cast<typename Rules::key_type>(id));
    if (next != rules.end() && static_cast<uint32_t>(next->first) - id < places) return false;
    if (next == rules.begin()) return true;
    const auto& [before, rule] = *std::prev(next);
    return id - static_cast<uint32_t>(before) >= PlacesOf(rule);
}

template <class Rules>
uint32_t FreeId(const Rules& rules, uint32_t places) {
    uint32_t id = places;
    while (!IsFree(rules, id, places)) id += places;
    return id;
}

template <class Rules, class Rule>
Reply Add(Rules* rules, Rule rule) {
    const uint32_t places = PlacesOf(rule);
    if (rules->size() == kMostRules) return Failed(zwmgmt::kInvalidFilterId);
    if (rule.id == 0) rule.id = static_cast<typename Rules::key_type>(FreeId(*rules, places));
    if (!IsFree(*rules, static_cast<uint32_t>(rule.id), places)) {
        return Failed(zwmgmt::kInvalidFilterId);
    }
    rules->emplace(+rule.id, rule);
    return {};
}

/// A rule that becomes one of IPv6 grows into the places behind it.
template <class Rules, class Rule>
Reply ModifyRule(Rules* rules, const Rule& given) {
    const auto found = rules->find(+given.id);
    if (found == rules->end()) return Failed(zwmgmt::kInvalidFilterId);
    if (MixesFamilies(given, found->second)) return Failed(zwmgmt::kInvalidValue);
    Rule changed = found->second;
    Modify(given, &changed);
    if (!agent::IsSound(changed)) return Failed(zwmgmt::kInvalidValue);
    auto own = rules->extract(found);  // a rule is not in its own way
    const bool free = IsFree(*rules, static_cast<uint32_t>(given.id), PlacesOf(changed));
    if (free) own.mapped() = changed;
    rules->insert(std::move(own));
    return free ? Reply{} : Failed(zwmgmt::kInvalidFilterId);
}

enum class ChangeKind { kAdd, kModify, kDelete };

ChangeKind KindOf(uint16_t opcode) {
    switch (opcode) {
        case zwmgmt::kAddFilterX3:
        case zwmgmt::kAddFilterX4: return ChangeKind::kAdd;
        case zwmgmt::kModifyFilterX3:
        case zwmgmt::kModifyFilterX4: return ChangeKind::kModify;
        default: return ChangeKind::kDelete;
    }
}

/// Carries out a change of a table of rules by id.
template <class Rules, class Rule>
Reply Change(Rules* rules, const Rule& rule, ChangeKind kind) {
    switch (kind) {
        case ChangeKind::kAdd: return Add(rules, rule);
        case ChangeKind::kModify: return ModifyRule(rules, rule);
        case ChangeKind::kDelete: break;
    }
    return rules->erase(+rule.id) != 0 ? Reply{} : Failed(zwmgmt::kInvalidFilterId);
}

std::string AddressText(const FilterAddress& address, bool ipv6) {
    const auto family = ipv6 ? zwmgmt::platform::Family::kIpv6 : zwmgmt::platform::Family::kIpv4;
    char text[46] = "";
    zwmgmt::platform::FormatAddress(family, address.address, text, sizeof(text));
    int prefix = 0;
    for (size_t i = 0; i < zwmgmt::platform::AddressSize(family); ++i) {
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

std::string Render(const _FilterX4& rule) {
    std::string text = "Filter id " + std::to_string(rule.id);
    for (const X4Field& field : kX4Fields) {
        if ((rule.present & field.bit) == 0) continue;
        text.append("\n    ").append(field.label).append(": ").append(Value(rule, field));
    }
    return text;
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
    return Change(&table->rules, rule, KindOf(opcode));
}

Reply FilterTable::ChangeX4(uint16_t opcode, std::span<const uint8_t> data) {
    _FilterX4 rule = {};
    if (!Unpack(data, &rule) || !agent::IsSound(rule)) return Failed(zwmgmt::kInvalidValue);
    if (IsLoaded(scenario, "x4_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X4Table* table = FindX4(FixedText(rule.pci_bus_location));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    return Change(&table->rules, rule, KindOf(opcode));
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
    for (const auto& [id, rule] : table->rules) texts.append(Render(rule)).push_back('\0');
    return texts.empty() ? Failed(zwmgmt::kNoFilters) : TextReply(texts);
}

Reply FilterTable::MaxFilters(uint16_t opcode, std::span<const uint8_t> data) {
    _Filter request = {};
    if (!Unpack(data, &request)) return Failed(zwmgmt::kInvalidValue);
    if (IsLoaded(scenario, "x3_tom")) return Failed(zwmgmt::kOffloadLoaded);
    X3Table* table = FindX3(FixedText(request.interface_name));
    if (table == nullptr) return Failed(zwmgmt::kNoPorts);
    if (opcode == zwmgmt::kSetMaxFilters) {
        if (request.max < 0 || request.max > int{kMostRules}) return Failed(zwmgmt::kInvalidValue);
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
