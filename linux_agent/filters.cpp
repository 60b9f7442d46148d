#include "linux_agent/filters.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "agent/filter_service.h"
#include "agent/replies.h"
#include "linux_agent/packet_rules.h"
#include "linux_agent/receive_rules.h"
#include "linux_agent/rule_table.h"
#include "linux_agent/traffic_filters.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmagent {

std::vector<std::unique_ptr<RuleTable>> TablesOf(Kernel& kernel, const Interface& port) {
    std::vector<std::unique_ptr<RuleTable>> tables;
    if (HasReceiveRules(kernel, port.name)) {
        tables.push_back(std::make_unique<ReceiveRules>(kernel, port.name));
    }
    tables.push_back(std::make_unique<TrafficFilters>(kernel, port.index));
    return tables;
}

namespace {

using agent::Failed;
using agent::Reply;
using agent::RuleChange;
using zwmgmt::FixedText;
using zwmgmt::X4Bit;
using Data = std::span<const uint8_t>;

/// A rule and where it is.
struct Placed {
    _FilterX4 rule;
    size_t port;
    RuleTable* table;
};

/// The rules of one kind that an adapter or an interface has: those of all its ports' tables.
class RuleSet {
  public:
    RuleSet(Kernel& kernel, RuleKind its_kind, std::span<const Interface> ports)
        : kind(its_kind), port_count(ports.size()) {
        for (size_t port = 0; port < ports.size(); ++port) {
            tables.push_back(TablesOf(kernel, ports[port]));
            ids.most = std::min(ids.most, tables[port].front()->Size());
            for (const auto& table : tables[port]) Read(port, *table);
        }
    }

    const std::map<uint32_t, Placed>& Rules() const { return rules; }
    const agent::RuleIds& Ids() const { return ids; }
    RuleKind Kind() const { return kind; }
    uint32_t Size() const { return ids.most; }
    bool HasSeveralPorts() const { return port_count > 1; }

    Reply Add(size_t port, const _FilterX4& plain) {
        RuleTable& table = *tables[port].front();
        const Outcome outcome = table.Put(kind, plain, nullptr);
        if (!outcome.Done()) return Refused(outcome);
        if (IsThere(table, plain)) return {};
        table.Remove(kind, plain.id);
        return Failed(zwmgmt::kInvalidValue, kOther);
    }

    Reply Modify(const Placed& placed, const _FilterX4& plain) {
        if (AreEqual(placed.rule, plain)) return {};
        const Outcome outcome = placed.table->Put(kind, plain, &placed.rule);
        if (!outcome.Done()) return Refused(outcome);
        if (IsThere(*placed.table, plain)) return {};
        const Outcome back = placed.table->Put(kind, placed.rule, &plain);
        return Failed(zwmgmt::kInvalidValue,
                      kOther + (back.Done() ? "" : "; the rule as it was is lost: " + back.reason));
    }

    Reply Delete(const Placed& placed) {
        const Outcome outcome = placed.table->Remove(kind, placed.rule.id);
        return outcome.Done() ? Reply{} : Refused(outcome);
    }

    /// As it was, on the only port; what has been changed again stays.
    Reply PutBack(const RuleChanged& changed) {
        const auto now = rules.find(changed.id);
        const bool is_there = now != rules.end();
        if (is_there != changed.after.has_value() ||
            (is_there && !AreEqual(now->second.rule, *changed.after))) {
            return {};
        }
        if (!is_there) return changed.before ? Add(0, *changed.before) : Reply{};
        return changed.before ? Modify(now->second, *changed.before) : Delete(now->second);
    }

  private:
    void Read(size_t port, RuleTable& table) {
        HeldRules held = table.Read(kind);
        for (const auto& [id, rule] : held.rules) {
            const bool own = kind == RuleKind::kX4 || IsX3(rule);
            if (!own || !rules.try_emplace(id, Placed{rule, port, &table}).second) {
                ids.taken.insert(id);
            }
        }
        ids.taken.merge(held.taken);
    }

    static bool IsX3(const _FilterX4& rule) {
        std::string reason;
        _FilterX4 same = FromX3(ToX3(rule), &reason);
        return MakePlain(&same).empty() && AreEqual(same, rule);
    }

    bool IsThere(RuleTable& table, const _FilterX4& plain) {
        const HeldRules held = table.Read(kind);
        const auto found = held.rules.find(plain.id);
        return found != held.rules.end() && AreEqual(found->second, plain);
    }

    static Reply Refused(const Outcome& outcome) {
        switch (outcome.error) {
            case ENODEV: return Failed(zwmgmt::kNoPorts, outcome.reason);
            case EEXIST: return Failed(zwmgmt::kInvalidFilterId, outcome.reason);
            default: return Failed(zwmgmt::kInvalidValue, outcome.reason);
        }
    }

    static inline const std::string kOther = "the kernel took it, and has another rule";

    const RuleKind kind;
    const size_t port_count;
    std::vector<std::vector<std::unique_ptr<RuleTable>>> tables;  // by port
    std::map<uint32_t, Placed> rules;
    agent::RuleIds ids;
};

// ---- A rule as its commands have it

constexpr uint32_t kPortMask = 7;

/// Where there are several ports a rule says which it is of.
void Show(const Placed& placed, const RuleSet& set, _FilterX4* rule) {
    *rule = placed.rule;
    if (!set.HasSeveralPorts()) return;
    rule->port = {static_cast<uint32_t>(placed.port), kPortMask};
    rule->present |= X4Bit("port");
}

void Show(const Placed& placed, const RuleSet&, _Filter* rule) { *rule = ToX3(placed.rule); }

std::string MakeCommon(const _FilterX4& rule, _FilterX4* common) {
    *common = rule;
    common->present &= ~X4Bit("port");
    return MakePlain(common);
}

std::string MakeCommon(const _Filter& rule, _FilterX4* common) {
    std::string reason;
    *common = FromX3(rule, &reason);
    return reason.empty() ? MakePlain(common) : reason;
}

/// The place of the port that a rule is of; nothing: it does not say, or there is none.
std::optional<size_t> PortOf(const _FilterX4& rule, size_t ports) {
    if (!Has(rule, X4Bit("port"))) return ports == 1 ? std::optional<size_t>(0) : std::nullopt;
    const bool whole = (rule.port.mask & kPortMask) == kPortMask;
    return whole && rule.port.value < ports ? std::optional<size_t>(rule.port.value) : std::nullopt;
}

std::optional<size_t> PortOf(const _Filter&, size_t) { return 0; }

template <class Rule>
Reply Change(RuleSet set, std::span<const Interface> ports, RuleChange change, const Rule& given,
             std::optional<RuleChanged>* undo) {
    agent::Rules<Rule> rules;
    for (const auto& [id, placed] : set.Rules()) Show(placed, set, &rules[id]);
    Rule changed = {};
    Reply judged = agent::Judge(rules, change, given, set.Ids(), &changed);
    if (judged.status != zwmgmt::kSuccess) return judged;
    const auto id = static_cast<uint32_t>(changed.id);
    const auto placed = set.Rules().find(id);
    const bool is_there = placed != set.Rules().end();
    const auto note = [&](size_t port, std::optional<_FilterX4> after) {
        *undo = {.kind = set.Kind(), .port = ports[port], .id = id, .before = {}, .after = after};
        if (is_there) (*undo)->before = placed->second.rule;
    };
    if (change == RuleChange::kDelete) {
        note(placed->second.port, {});
        return set.Delete(placed->second);
    }
    const std::optional<size_t> port = PortOf(changed, ports.size());
    if (!port) return Failed(zwmgmt::kInvalidValue, "port: a rule is of one of the adapter's");
    _FilterX4 plain;
    const std::string reason = MakeCommon(changed, &plain);
    if (!reason.empty()) return Failed(zwmgmt::kInvalidValue, reason);
    if (is_there && placed->second.port != *port) {
        return Failed(zwmgmt::kInvalidValue, "port: a rule stays on its own");
    }
    note(*port, plain);
    return is_there ? set.Modify(placed->second, plain) : set.Add(*port, plain);
}

// ---- The service

class KernelFilters : public agent::FilterService {
  public:
    KernelFilters(Kernel& of_kernel, const std::vector<Adapter>& its_adapters,
                  std::optional<RuleChanged>* rule_changed)
        : kernel(of_kernel), adapters(its_adapters), changed(rule_changed) {}

  private:
    const Adapter* FindAdapter(std::string_view location) const {
        const auto found = std::ranges::find(adapters, location, &Adapter::location);
        return found != adapters.end() ? &*found : nullptr;
    }

    /// One port, or none.
    std::span<const Interface> FindInterface(std::string_view name) const {
        for (const Adapter& adapter : adapters) {
            const auto found = std::ranges::find(adapter.ports, name, &Interface::name);
            if (found != adapter.ports.end()) return {&*found, 1};
        }
        return {};
    }

    Reply Change(RuleChange change, const _Filter& rule) override {
        const auto port = FindInterface(FixedText(rule.interface_name));
        if (port.empty()) return Failed(zwmgmt::kNoPorts);
        return zmagent::Change({kernel, RuleKind::kX3, port}, port, change, rule, changed);
    }

    Reply Change(RuleChange change, const _FilterX4& rule) override {
        const Adapter* adapter = FindAdapter(FixedText(rule.pci_bus_location));
        if (adapter == nullptr) return Failed(zwmgmt::kNoPorts);
        if (change != RuleChange::kDelete && rule.combination[0] != '\0') {
            return Failed(zwmgmt::kInvalidValue, kNoModes);
        }
        const std::span<const Interface> ports = adapter->ports;
        return zmagent::Change({kernel, RuleKind::kX4, ports}, ports, change, rule, changed);
    }

    Reply List(std::vector<_Filter>* rules) override {
        for (const Adapter& adapter : adapters) {
            for (const Interface& port : adapter.ports) {
                const RuleSet set(kernel, RuleKind::kX3, {&port, 1});
                for (const auto& [id, placed] : set.Rules()) {
                    rules->push_back(ToX3(placed.rule));
                    zwmgmt::SetFixedText(rules->back().interface_name, port.name);
                }
            }
        }
        return {};
    }

    Reply List(std::string_view location, std::vector<_FilterX4>* rules) override {
        const Adapter* adapter = FindAdapter(location);
        if (adapter == nullptr) return Failed(zwmgmt::kNoPorts);
        const RuleSet set(kernel, RuleKind::kX4, adapter->ports);
        for (const auto& [id, placed] : set.Rules()) Show(placed, set, &rules->emplace_back());
        return {};
    }

    Reply GetMost(std::string_view interface_name) override {
        const auto port = FindInterface(interface_name);
        if (port.empty()) return Failed(zwmgmt::kNoPorts);
        const RuleSet set(kernel, RuleKind::kX3, port);
        const size_t most = std::min(size_t{set.Size()}, agent::kMostRules);
        return agent::RecordReply(static_cast<int32_t>(most));
    }

    Reply SetMost(std::string_view, int32_t) override {
        return Failed(zwmgmt::kNotSupported, "the kernel's tables are as large as they are");
    }

    Reply ActiveCombinations() override { return Failed(zwmgmt::kNotSupported, kNoModes); }

    Reply SetCombination(std::string_view, std::string_view) override {
        return Failed(zwmgmt::kNotSupported, kNoModes);
    }

    Reply ListX3Interfaces() override {
        std::string names;
        for (const Adapter& adapter : adapters) {
            for (const Interface& port : adapter.ports) names.append(port.name).append("\n");
        }
        return agent::TextReply(names);
    }

    Reply ListX4Adapters() override {
        std::string names;
        for (const Adapter& adapter : adapters) names.append(adapter.location).append("\n");
        return agent::TextReply(names);
    }

    static constexpr const char* kNoModes = "comb: the kernel has no filter modes";

    Kernel& kernel;
    const std::vector<Adapter>& adapters;
    std::optional<RuleChanged>* changed;
};

}  // namespace

std::optional<Reply> AnswerFilter(Kernel& kernel, const std::vector<Adapter>& adapters,
                                  uint16_t opcode, Data data, std::optional<RuleChanged>* changed) {
    return KernelFilters(kernel, adapters, changed).Answer(opcode, data);
}

Reply PutBack(Kernel& kernel, const RuleChanged& changed) {
    return RuleSet(kernel, changed.kind, {&changed.port, 1}).PutBack(changed);
}

bool HaveReceiveRules(Kernel& kernel, const std::vector<Adapter>& adapters) {
    return std::ranges::any_of(adapters, [&](const Adapter& adapter) {
        return std::ranges::any_of(adapter.ports, [&](const Interface& port) {
            return HasReceiveRules(kernel, port.name);
        });
    });
}

}  // namespace zmagent
