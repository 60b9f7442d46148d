#include "linux_agent/receive_rules.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "linux_agent/packet_rules.h"

namespace zmagent {
namespace {

using zwmgmt::X4Bit;

constexpr uint32_t kQuarters = 4;
constexpr uint32_t kMostLocations = 1u << 16;  // that a driver is believed to have
constexpr uint32_t kExtensions = FLOW_EXT | FLOW_MAC_EXT;

/// What has ports in a flow type of its own; any other protocol is a field of the general one.
struct FlowType {
    uint32_t type;
    bool ipv6;
    uint32_t protocol;  // 0: any
};
constexpr FlowType kFlowTypes[] = {
    {TCP_V4_FLOW, false, IPPROTO_TCP},   {UDP_V4_FLOW, false, IPPROTO_UDP},
    {SCTP_V4_FLOW, false, IPPROTO_SCTP}, {IPV4_USER_FLOW, false, 0},
    {TCP_V6_FLOW, true, IPPROTO_TCP},    {UDP_V6_FLOW, true, IPPROTO_UDP},
    {SCTP_V6_FLOW, true, IPPROTO_SCTP},  {IPV6_USER_FLOW, true, 0},
};

/// Of IP.
const FlowType& FlowTypeOf(const _FilterX4& rule) {
    const bool ipv6 = rule.address_family != 0;
    const bool whole = Has(rule, X4Bit("protocol")) && rule.protocol.mask == 0xFF;
    return *std::ranges::find_if(kFlowTypes, [&](const FlowType& type) {
        return type.ipv6 == ipv6 &&
               (type.protocol == 0 || (whole && type.protocol == rule.protocol.value));
    });
}

uint8_t* BytesAt(ethtool_flow_union* flow, size_t offset) {
    return reinterpret_cast<uint8_t*>(flow) + offset;
}

void PutVlan(const _FilterX4& rule, ethtool_rx_flow_spec* spec) {
    if (!Has(rule, X4Bit("vlan"))) return;
    spec->flow_type |= FLOW_EXT;
    spec->h_ext.vlan_tci = htons(static_cast<uint16_t>(rule.vlan.value));
    spec->m_ext.vlan_tci = htons(static_cast<uint16_t>(rule.vlan.mask));
}

/// A member at its place; false when it has none there.
bool PutMember(const MatchRow& row, const _FilterX4& rule, ethtool_rx_flow_spec* spec) {
    const MatchBytes bytes = BytesOf(row, rule);
    const size_t offset = IsIp(rule) ? row.ip : row.ether;
    if (offset != MatchRow::kNowhere) {
        std::copy_n(bytes.value.begin(), row.width, BytesAt(&spec->h_u, offset));
        std::copy_n(bytes.mask.begin(), row.width, BytesAt(&spec->m_u, offset));
        return true;
    }
    if (row.field->bit != X4Bit("dmac")) return false;
    spec->flow_type |= FLOW_MAC_EXT;
    std::copy_n(bytes.value.begin(), row.width, spec->h_ext.h_dest);
    std::copy_n(bytes.mask.begin(), row.width, spec->m_ext.h_dest);
    return true;
}

/// The receive rule that a rule is but for its location, or why there is none.
std::string Encode(const _FilterX4& rule, ethtool_rx_flow_spec* spec) {
    *spec = {};
    spec->flow_type = ETHER_FLOW;
    bool in_type = false;  // the protocol is
    if (IsIp(rule)) {
        const FlowType& flow = FlowTypeOf(rule);
        spec->flow_type = flow.type;
        in_type = flow.protocol != 0;
        if (flow.type == IPV4_USER_FLOW) spec->h_u.usr_ip4_spec.ip_ver = ETH_RX_NFC_IP4;
    }
    if (Has(rule, X4Bit("ovlan"))) return "ovlan: receive rules match one tag";
    PutVlan(rule, spec);
    for (const MatchRow& row : MatchRows()) {
        if (!Applies(row, rule) || (in_type && row.field->bit == X4Bit("protocol"))) continue;
        if (!PutMember(row, rule, spec)) {
            return std::string(row.field->label) + ": receive rules do not match it with the rest";
        }
    }
    const bool has_queue = Has(rule, X4Bit("queue"));
    if (rule.action == kPass && !has_queue) {
        return "x4action: receive rules drop, or pass to a queue that x4queue names";
    }
    spec->ring_cookie = has_queue ? rule.queue : RX_CLS_FLOW_DISC;
    return "";
}

/// What two receive rules that do the same have alike: drivers fill in as they like what is not
/// matched.
std::string MeaningOf(const ethtool_rx_flow_spec& spec) {
    ethtool_flow_ext mask = spec.m_ext;
    if ((spec.flow_type & FLOW_EXT) == 0) {
        mask.vlan_etype = mask.vlan_tci = 0;
        mask.data[0] = mask.data[1] = 0;
    }
    if ((spec.flow_type & FLOW_MAC_EXT) == 0) std::memset(mask.h_dest, 0, sizeof(mask.h_dest));
    std::string meaning;
    const auto add = [&](const void* bytes, size_t size) {
        meaning.append(static_cast<const char*>(bytes), size);
    };
    const auto add_masked = [&](const void* bytes, const void* bits, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            meaning += static_cast<char>(static_cast<const uint8_t*>(bytes)[i] &
                                         static_cast<const uint8_t*>(bits)[i]);
        }
        add(bits, size);
    };
    const uint32_t type = spec.flow_type & ~kExtensions;
    add(&type, sizeof(type));
    add(&spec.ring_cookie, sizeof(spec.ring_cookie));
    add_masked(&spec.h_u, &spec.m_u, sizeof(spec.h_u));
    add_masked(&spec.h_ext, &mask, sizeof(mask));
    return meaning;
}

void ReadExtensions(const ethtool_rx_flow_spec& spec, _FilterX4* rule) {
    if ((spec.flow_type & FLOW_EXT) != 0 && spec.m_ext.vlan_tci != 0) {
        const uint32_t mask = ntohs(spec.m_ext.vlan_tci);
        rule->vlan = {ntohs(spec.h_ext.vlan_tci) & mask, mask};
        rule->present |= X4Bit("vlan");
    }
    if ((spec.flow_type & FLOW_MAC_EXT) == 0 || !IsIp(*rule)) return;
    for (const MatchRow& row : MatchRows()) {
        if (row.field->bit != X4Bit("dmac")) continue;
        MatchBytes bytes;
        std::copy_n(spec.h_ext.h_dest, row.width, bytes.value.begin());
        std::copy_n(spec.m_ext.h_dest, row.width, bytes.mask.begin());
        PutBytes(row, bytes, rule);
    }
}

/// The rule that a receive rule would be.
std::optional<_FilterX4> Decode(ethtool_rx_flow_spec spec) {
    _FilterX4 rule = {};
    const uint32_t type = spec.flow_type & ~kExtensions;
    if (type != ETHER_FLOW) {
        const auto* flow = std::ranges::find(kFlowTypes, type, &FlowType::type);
        if (flow == std::end(kFlowTypes)) return std::nullopt;
        SetIp(&rule, flow->ipv6);
        if (flow->protocol != 0) {
            rule.protocol = {flow->protocol, 0xFF};
            rule.present |= X4Bit("protocol");
        }
    }
    ReadExtensions(spec, &rule);
    for (const MatchRow& row : MatchRows()) {
        const size_t offset = IsIp(rule) ? row.ip : row.ether;
        if (offset == MatchRow::kNowhere || !IsFor(row, rule)) continue;
        MatchBytes bytes;
        std::copy_n(BytesAt(&spec.h_u, offset), row.width, bytes.value.begin());
        std::copy_n(BytesAt(&spec.m_u, offset), row.width, bytes.mask.begin());
        PutBytes(row, bytes, &rule);
    }
    const bool drops = spec.ring_cookie == RX_CLS_FLOW_DISC;
    rule.action = drops ? kDrop : kPass;
    rule.queue = drops ? 0 : static_cast<uint32_t>(spec.ring_cookie);
    rule.present |= X4Bit("action") | (drops ? 0 : X4Bit("queue"));
    return rule;
}

/// The rule in its plain form that the agent would have made this receive rule of.
std::optional<_FilterX4> OwnRuleIn(const ethtool_rx_flow_spec& spec) {
    const auto rule = Decode(spec);
    if (!rule) return std::nullopt;
    _FilterX4 plain = *rule;
    ethtool_rx_flow_spec again;
    const bool own = MakePlain(&plain).empty() && AreEqual(plain, *rule) &&
                     Encode(plain, &again).empty() && MeaningOf(again) == MeaningOf(spec);
    return own ? rule : std::nullopt;
}

}  // namespace

std::vector<uint32_t> ReceiveRules::Locations(uint32_t* size) {
    ethtool_rxnfc count = {};
    count.cmd = ETHTOOL_GRXCLSRLCNT;
    *size = 0;
    if (!kernel.ethtool.Command(interface, &count).Done() || count.rule_cnt > kMostLocations) {
        return {};
    }
    // There may be more by the time they are read; a driver that has no room says so.
    const uint32_t room = count.rule_cnt + 64;
    std::vector<uint32_t> words((sizeof(ethtool_rxnfc) / sizeof(uint32_t)) + room);
    ethtool_rxnfc all = {};
    all.cmd = ETHTOOL_GRXCLSRLALL;
    all.rule_cnt = room;
    std::memcpy(words.data(), &all, sizeof(all));
    if (!kernel.ethtool.Command(interface, words.data()).Done()) return {};
    std::memcpy(&all, words.data(), sizeof(all));
    *size = static_cast<uint32_t>(std::min<uint64_t>(all.data, kMostLocations));
    const auto first = words.begin() + offsetof(ethtool_rxnfc, rule_locs) / sizeof(uint32_t);
    return {first, first + std::min(all.rule_cnt, room)};
}

uint32_t ReceiveRules::Size() {
    uint32_t size = 0;
    Locations(&size);
    return size / kQuarters;
}

uint32_t ReceiveRules::FirstOf(RuleKind kind) { return Size() * (kind == RuleKind::kX4 ? 1 : 2); }

std::optional<ethtool_rx_flow_spec> ReceiveRules::RuleAt(uint32_t location) {
    ethtool_rxnfc command = {};
    command.cmd = ETHTOOL_GRXCLSRULE;
    command.fs.location = location;
    if (!kernel.ethtool.Command(interface, &command).Done()) return std::nullopt;
    return command.fs;
}

HeldRules ReceiveRules::Read(RuleKind kind) {
    HeldRules held;
    uint32_t size = 0;
    const std::vector<uint32_t> locations = Locations(&size);
    const uint32_t first = FirstOf(kind);
    for (const uint32_t location : locations) {
        if (location < first || location - first >= size / kQuarters) continue;
        const uint32_t id = location - first + 1;
        const auto spec = RuleAt(location);
        auto rule = spec ? OwnRuleIn(*spec) : std::nullopt;
        if (rule) {
            rule->id = id;
            held.rules.emplace(id, *rule);
        } else {
            held.taken.insert(id);
        }
    }
    return held;
}

Outcome ReceiveRules::Insert(const ethtool_rx_flow_spec& spec) {
    ethtool_rxnfc command = {};
    command.cmd = ETHTOOL_SRXCLSRLINS;
    command.fs = spec;
    return kernel.ethtool.Command(interface, &command);
}

/// What is inserted at a location takes the place of what is there.
Outcome ReceiveRules::Put(RuleKind kind, const _FilterX4& rule, const _FilterX4* before) {
    ethtool_rx_flow_spec spec;
    std::string reason = Encode(rule, &spec);
    if (!reason.empty()) return {.error = EOPNOTSUPP, .reason = std::move(reason)};
    spec.location = FirstOf(kind) + rule.id - 1;
    const auto old = RuleAt(spec.location);
    if (old && before == nullptr) return Refusal(EEXIST);
    Outcome outcome = Insert(spec);
    if (outcome.Done() || !old) return outcome;
    const auto now = RuleAt(spec.location);
    if (now && MeaningOf(*now) == MeaningOf(*old)) return outcome;
    const Outcome back = Insert(*old);
    if (!back.Done()) outcome.reason += "; the rule as it was is lost: " + back.reason;
    return outcome;
}

Outcome ReceiveRules::Remove(RuleKind kind, uint32_t id) {
    ethtool_rxnfc command = {};
    command.cmd = ETHTOOL_SRXCLSRLDEL;
    command.fs.location = FirstOf(kind) + id - 1;
    return kernel.ethtool.Command(interface, &command);
}

bool HasReceiveRules(Kernel& kernel, const std::string& interface_name) {
    ethtool_value flags = {.cmd = ETHTOOL_GFLAGS, .data = 0};
    return kernel.ethtool.Command(interface_name, &flags).Done() &&
           (flags.data & ETH_FLAG_NTUPLE) != 0 && ReceiveRules(kernel, interface_name).Size() != 0;
}

}  // namespace zmagent
