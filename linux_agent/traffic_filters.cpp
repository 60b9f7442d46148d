#include "linux_agent/traffic_filters.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_gact.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "linux_agent/packet_rules.h"

namespace zmagent {
namespace {

using zwmgmt::X4Bit;

constexpr uint32_t kHighestId = 0xFFF;
constexpr uint32_t kFirstHandle = 1;
constexpr uint16_t kNew = NLM_F_CREATE | NLM_F_EXCL;
constexpr const char* kQdisc = "clsact";
constexpr const char* kFilter = "flower";
constexpr const char* kAction = "gact";
constexpr uint16_t kOnlyAction = 1;  // its place, and the type of its nest

/// Where the rules of a kind are.
struct Range {
    uint32_t base;  // priority: that of id 0
    std::string_view cookie;

    uint32_t PriorityOf(uint32_t id) const { return base + id; }
    bool Has(uint32_t priority) const { return base < priority && priority <= base + kHighestId; }
};
constexpr Range kX4Range = {0xD000, "korvane-zmagent4"};
constexpr Range kX3Range = {0xE000, "korvane-zmagent3"};
static_assert(kX4Range.cookie.size() == TC_COOKIE_MAX_SIZE);

const Range& RangeOf(RuleKind kind) { return kind == RuleKind::kX4 ? kX4Range : kX3Range; }

tcmsg Header(uint32_t interface) {
    tcmsg header = {};
    header.tcm_ifindex = static_cast<int>(interface);
    header.tcm_parent = TC_H_MAKE(TC_H_CLSACT, TC_H_MIN_INGRESS);
    return header;
}

/// Of a filter at a priority; protocol 0: of whatever protocol.
tcmsg Header(uint32_t interface, uint32_t priority, uint16_t protocol, uint32_t handle) {
    tcmsg header = Header(interface);
    header.tcm_handle = handle;
    header.tcm_info = TC_H_MAKE(priority << 16, htons(protocol));
    return header;
}

Outcome ChangeQdisc(Kernel& kernel, uint16_t type, uint16_t flags, uint32_t interface) {
    tcmsg header = {};
    header.tcm_ifindex = static_cast<int>(interface);
    header.tcm_parent = TC_H_CLSACT;
    header.tcm_handle = TC_H_MAKE(TC_H_CLSACT, 0);
    Request request(type, static_cast<uint16_t>(NLM_F_ACK | flags), &header, sizeof(header));
    request.Text(TCA_KIND, kQdisc);
    return kernel.route.Ask(request);
}

// ---- Tags, outermost first, and the type of what is in them

struct Tag {
    uint16_t type;
    const char* key;
    uint32_t bit;
    FilterField _FilterX4::*member;
};
constexpr Tag kTags[] = {{ETH_P_8021AD, "ovlan", X4Bit("ovlan"), &_FilterX4::ovlan},
                         {ETH_P_8021Q, "vlan", X4Bit("vlan"), &_FilterX4::vlan}};

/// The attributes of the first and the second tag of a filter, and of the type behind each.
struct TagKeys {
    uint16_t id, priority, next_type;
};
constexpr TagKeys kTagKeys[] = {
    {TCA_FLOWER_KEY_VLAN_ID, TCA_FLOWER_KEY_VLAN_PRIO, TCA_FLOWER_KEY_VLAN_ETH_TYPE},
    {TCA_FLOWER_KEY_CVLAN_ID, TCA_FLOWER_KEY_CVLAN_PRIO, TCA_FLOWER_KEY_CVLAN_ETH_TYPE}};

/// Of what is in the tags; 0: any.
uint16_t InnerType(const _FilterX4& rule) {
    if (IsIp(rule)) return rule.address_family != 0 ? ETH_P_IPV6 : ETH_P_IP;
    return static_cast<uint16_t>(Has(rule, X4Bit("ethertype")) ? rule.ethertype.value : 0);
}

uint16_t OuterType(const _FilterX4& rule) {
    for (const Tag& tag : kTags) {
        if (Has(rule, tag.bit)) return tag.type;
    }
    const uint16_t inner = InnerType(rule);
    return inner != 0 ? inner : ETH_P_ALL;
}

void PutTags(Request& request, const _FilterX4& rule) {
    const TagKeys* keys = kTagKeys;
    uint16_t type_key = TCA_FLOWER_KEY_ETH_TYPE;
    for (const Tag& tag : kTags) {
        if (!Has(rule, tag.bit)) continue;
        const FilterField match = rule.*tag.member;
        request.Number16(type_key, htons(tag.type));
        if ((match.mask & kVlanIds) != 0) {
            request.Number16(keys->id, static_cast<uint16_t>(match.value & kVlanIds));
        }
        if ((match.mask & kVlanPriorities) != 0) {
            request.Number8(keys->priority,
                            static_cast<uint8_t>(match.value >> kVlanPriorityShift));
        }
        type_key = keys++->next_type;
    }
    if (const uint16_t inner = InnerType(rule)) request.Number16(type_key, htons(inner));
}

FilterField TagIn(const Attributes& options, const TagKeys& keys) {
    FilterField match = {};
    if (options.Has(keys.id)) match = {options.Number32(keys.id), kVlanIds};
    if (options.Has(keys.priority)) {
        match.value |= options.Number32(keys.priority) << kVlanPriorityShift;
        match.mask |= kVlanPriorities;
    }
    return match;
}

void SetTag(const Tag& tag, const FilterField& match, _FilterX4* rule) {
    rule->*tag.member = match;
    rule->present |= tag.bit;
}

/// The kernel tells the outermost type as the filter's protocol, and of the others the innermost.
void ReadTags(const Attributes& options, uint16_t protocol, _FilterX4* rule) {
    size_t tags = 0;
    uint16_t inner = protocol == ETH_P_ALL ? 0 : protocol;
    for (const Tag& tag : kTags) {
        if (inner != tag.type || tags == std::size(kTagKeys)) continue;
        const TagKeys& keys = kTagKeys[tags++];
        SetTag(tag, TagIn(options, keys), rule);
        inner = ntohs(options.Copy<uint16_t>(keys.next_type));
    }
    if (inner == ETH_P_IP || inner == ETH_P_IPV6) {
        SetIp(rule, inner == ETH_P_IPV6);
    } else if (inner != 0) {
        rule->ethertype = {inner, 0xFFFF};
        rule->present |= X4Bit("ethertype");
    }
}

// ---- Rules

/// What the filter cannot match of a rule, or nothing.
std::string Unmatched(const _FilterX4& rule) {
    if (Has(rule, X4Bit("queue"))) return "x4queue: it takes an adapter with receive rules";
    for (const Tag& tag : kTags) {
        const uint32_t mask = (rule.*tag.member).mask;
        const bool whole =
            (mask & ~(kVlanIds | kVlanPriorities)) == 0 &&
            ((mask & kVlanIds) == 0 || (mask & kVlanIds) == kVlanIds) &&
            ((mask & kVlanPriorities) == 0 || (mask & kVlanPriorities) == kVlanPriorities);
        if (Has(rule, tag.bit) && !whole) {
            return std::string(tag.key) + ": id and priority are matched, and whole";
        }
    }
    for (const MatchRow& row : MatchRows()) {
        if (row.key == 0 || row.mask != 0 || !Applies(row, rule)) continue;
        if (!IsWhole(row, BytesOf(row, rule))) {
            return std::string(row.field->label) + ": it is matched whole";
        }
    }
    return "";
}

void PutMatches(Request& request, const _FilterX4& rule) {
    PutTags(request, rule);
    for (const MatchRow& row : MatchRows()) {
        if (row.key == 0 || !Applies(row, rule)) continue;
        const MatchBytes bytes = BytesOf(row, rule);
        request.Bytes(row.key, std::span(bytes.value).first(row.width));
        if (row.mask != 0) request.Bytes(row.mask, std::span(bytes.mask).first(row.width));
    }
}

void PutAction(Request& request, const _FilterX4& rule, const Range& range) {
    tc_gact action = {};
    action.action = rule.action == kDrop ? TC_ACT_SHOT : TC_ACT_OK;
    request.Nest(kOnlyAction, [&] {
        request.Text(TCA_ACT_KIND, kAction);
        request.Bytes(TCA_ACT_COOKIE,
                      {reinterpret_cast<const uint8_t*>(range.cookie.data()), range.cookie.size()});
        request.Nest(TCA_ACT_OPTIONS, [&] { request.Structure(TCA_GACT_PARMS, action); });
    });
}

/// The action, when the filter has one and it is one of this range's rules.
std::optional<uint32_t> OwnAction(const Attributes& options, const Range& range) {
    const Attributes actions = options.Nest(TCA_FLOWER_ACT);
    const Attributes action = actions.Nest(kOnlyAction);
    const auto cookie = action.Copy<std::array<char, TC_COOKIE_MAX_SIZE>>(TCA_ACT_COOKIE);
    if (actions.Has(kOnlyAction + 1) || action.Text(TCA_ACT_KIND) != kAction ||
        std::string_view(cookie.data(), cookie.size()) != range.cookie) {
        return std::nullopt;
    }
    switch (action.Nest(TCA_ACT_OPTIONS).Copy<tc_gact>(TCA_GACT_PARMS).action) {
        case TC_ACT_SHOT: return kDrop;
        case TC_ACT_OK: return kPass;
        default: return std::nullopt;
    }
}

/// The rule that a filter is, when it is one of this range's.
std::optional<_FilterX4> RuleIn(const Attributes& filter, const tcmsg& header, const Range& range) {
    const Attributes options = filter.Nest(TCA_OPTIONS);
    const auto action = OwnAction(options, range);
    if (filter.Text(TCA_KIND) != kFilter || !action) return std::nullopt;
    _FilterX4 rule = {};
    rule.id = (header.tcm_info >> 16) - range.base;
    rule.action = *action;
    rule.present = X4Bit("action");
    ReadTags(options, ntohs(static_cast<uint16_t>(header.tcm_info)), &rule);
    for (const MatchRow& row : MatchRows()) {
        if (row.key == 0 || !options.Has(row.key) || !IsFor(row, rule)) continue;
        MatchBytes bytes;
        bytes.value = options.Copy<decltype(bytes.value)>(row.key);
        bytes.mask.fill(0xFF);
        if (row.mask != 0) bytes.mask = options.Copy<decltype(bytes.mask)>(row.mask);
        PutBytes(row, bytes, &rule);
    }
    return rule;
}

}  // namespace

uint32_t TrafficFilters::Size() { return kHighestId; }

HeldRules TrafficFilters::Read(RuleKind kind) {
    HeldRules held;
    const Range& range = RangeOf(kind);
    const tcmsg all = Header(interface);
    Request request(RTM_GETTFILTER, NLM_F_DUMP, &all, sizeof(all));
    kernel.route.Ask(request, [&](const nlmsghdr& reply) {
        if (mnl_nlmsg_get_payload_len(&reply) < sizeof(tcmsg)) return;
        const auto* header = static_cast<const tcmsg*>(mnl_nlmsg_get_payload(&reply));
        const Attributes filter(reply, sizeof(tcmsg));
        const uint32_t priority = header->tcm_info >> 16;
        // What has no handle is the place of filters, not one of them.
        if (header->tcm_handle == 0 || !range.Has(priority) || filter.Number32(TCA_CHAIN) != 0) {
            return;
        }
        if (const auto rule = RuleIn(filter, *header, range)) {
            held.rules[rule->id] = *rule;
            handles[priority] = header->tcm_handle;
        } else {
            held.taken.insert(priority - range.base);
        }
    });
    return held;
}

Outcome TrafficFilters::Write(RuleKind kind, const _FilterX4& rule, uint16_t flags,
                              uint32_t handle) {
    const Range& range = RangeOf(kind);
    const tcmsg header = Header(interface, range.PriorityOf(rule.id), OuterType(rule), handle);
    Request request(RTM_NEWTFILTER, static_cast<uint16_t>(NLM_F_ACK | flags), &header,
                    sizeof(header));
    request.Text(TCA_KIND, kFilter);
    request.Nest(TCA_OPTIONS, [&] {
        PutMatches(request, rule);
        request.Nest(TCA_FLOWER_ACT, [&] { PutAction(request, rule, range); });
    });
    return kernel.route.Ask(request);
}

Outcome TrafficFilters::Remove(RuleKind kind, uint32_t id, uint32_t handle) {
    const tcmsg header = Header(interface, RangeOf(kind).PriorityOf(id), 0, handle);
    Request request(RTM_DELTFILTER, NLM_F_ACK, &header, sizeof(header));
    request.Text(TCA_KIND, kFilter);
    return kernel.route.Ask(request);
}

Outcome TrafficFilters::Add(RuleKind kind, const _FilterX4& rule) {
    const Outcome qdisc = ChangeQdisc(kernel, RTM_NEWQDISC, kNew, interface);
    if (!qdisc.Done() && qdisc.error != EEXIST) return qdisc;
    Outcome outcome = Write(kind, rule, kNew, kFirstHandle);
    if (!outcome.Done() && qdisc.Done()) ChangeQdisc(kernel, RTM_DELQDISC, 0, interface);
    return outcome;
}

/// In one step where the kernel can: the same bits of the same fields are matched. Else there are
/// both for a moment, and where the protocol is another one, for which there is another priority,
/// neither.
Outcome TrafficFilters::Replace(RuleKind kind, const _FilterX4& rule, const _FilterX4& before) {
    const uint32_t handle = handles[RangeOf(kind).PriorityOf(rule.id)];
    const uint32_t other = handle == kFirstHandle ? kFirstHandle + 1 : kFirstHandle;
    if (OuterType(rule) == OuterType(before)) {
        if (Outcome outcome = Write(kind, rule, NLM_F_REPLACE, handle); outcome.Done()) {
            return outcome;
        }
        Outcome outcome = Write(kind, rule, kNew, other);
        if (!outcome.Done()) return outcome;
        outcome = Remove(kind, rule.id, handle);
        if (!outcome.Done()) Remove(kind, rule.id, other);
        return outcome;
    }
    Outcome outcome = Remove(kind, rule.id, handle);
    if (!outcome.Done()) return outcome;
    outcome = Write(kind, rule, kNew, handle);
    if (outcome.Done()) return outcome;
    const Outcome back = Write(kind, before, kNew, handle);
    if (!back.Done()) outcome.reason += "; the rule as it was is lost: " + back.reason;
    return outcome;
}

Outcome TrafficFilters::Put(RuleKind kind, const _FilterX4& rule, const _FilterX4* before) {
    std::string unmatched = Unmatched(rule);
    if (!unmatched.empty()) return {.error = EOPNOTSUPP, .reason = std::move(unmatched)};
    return before == nullptr ? Add(kind, rule) : Replace(kind, rule, *before);
}

Outcome TrafficFilters::Remove(RuleKind kind, uint32_t id) {
    return Remove(kind, id, handles[RangeOf(kind).PriorityOf(id)]);
}

bool HasTrafficFilters(Kernel& kernel) {
    constexpr uint32_t kLoopback = 1;  // in every network
    _FilterX4 rule = {};
    rule.id = kHighestId;
    rule.ethertype = {ETH_P_LOOPBACK, 0xFFFF};
    rule.action = kPass;
    rule.present = X4Bit("ethertype") | X4Bit("action");
    const Outcome qdisc = ChangeQdisc(kernel, RTM_NEWQDISC, kNew, kLoopback);
    TrafficFilters filters(kernel, kLoopback);
    const bool has = filters.Put(RuleKind::kX4, rule, nullptr).Done();
    if (has) {
        filters.Read(RuleKind::kX4);
        filters.Remove(RuleKind::kX4, rule.id);
    }
    if (qdisc.Done()) ChangeQdisc(kernel, RTM_DELQDISC, 0, kLoopback);
    return has;
}

}  // namespace zmagent
