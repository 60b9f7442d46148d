#include "linux_agent/packet_rules.h"

#include <linux/ethtool.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "agent/filter_rules.h"
#include "filters/x4_rules.h"
#include "records/x3_rule.h"
#include "zwmgmt/fixed_text.h"

namespace zmagent {
namespace {

using zwmgmt::Argument;
using zwmgmt::Form;
using zwmgmt::X3Bit;
using zwmgmt::X4Bit;
using zwmgmt::X4Field;

consteval const X4Field* Member(std::string_view name) {
    for (const X4Field& field : zwmgmt::kX4Fields) {
        if (name == field.name) return &field;
    }
    throw "no such member";
}

constexpr auto kNowhere = MatchRow::kNowhere;
constexpr auto kAny = MatchRow::kAny;
constexpr auto kIpv4 = MatchRow::kIpv4;
constexpr auto kIpv6 = MatchRow::kIpv6;

#define ETHER(member) offsetof(ethhdr, member), kNowhere
#define IP4(member) kNowhere, offsetof(ethtool_usrip4_spec, member)
#define IP6(member) kNowhere, offsetof(ethtool_usrip6_spec, member)
#define PORT4(member) kNowhere, offsetof(ethtool_tcpip4_spec, member)
#define PORT6(member) kNowhere, offsetof(ethtool_tcpip6_spec, member)
#define FLOWER(name) TCA_FLOWER_KEY_##name, TCA_FLOWER_KEY_##name##_MASK
#define WHOLE(name) TCA_FLOWER_KEY_##name, 0

// Local is where packets go to: rules are of those that come in. Tags, and the types of what is in
// them, are put in by code.
// clang-format off
constexpr MatchRow kRows[] = {
    {Member("dmac"), kAny, 0, FLOWER(ETH_DST), 6, ETHER(h_dest)},
    {Member("smac"), kAny, 0, FLOWER(ETH_SRC), 6, ETHER(h_source)},
    {Member("ethertype"), kAny, 0, 0, 0, 2, ETHER(h_proto)},
    {Member("lip"), kIpv4, 0, FLOWER(IPV4_DST), 4, IP4(ip4dst)},
    {Member("fip"), kIpv4, 0, FLOWER(IPV4_SRC), 4, IP4(ip4src)},
    {Member("lip"), kIpv6, 0, FLOWER(IPV6_DST), 16, IP6(ip6dst)},
    {Member("fip"), kIpv6, 0, FLOWER(IPV6_SRC), 16, IP6(ip6src)},
    {Member("tos"), kIpv4, 0, FLOWER(IP_TOS), 1, IP4(tos)},
    {Member("tos"), kIpv6, 0, FLOWER(IP_TOS), 1, IP6(tclass)},
    {Member("protocol"), kIpv4, 0, WHOLE(IP_PROTO), 1, IP4(proto)},
    {Member("protocol"), kIpv6, 0, WHOLE(IP_PROTO), 1, IP6(l4_proto)},
    {Member("fragmentation"), kIpv4, 0, FLOWER(FLAGS), 4, kNowhere, kNowhere},
    {Member("fragmentation"), kIpv6, 0, FLOWER(FLAGS), 4, kNowhere, kNowhere},
    {Member("lport"), kIpv4, IPPROTO_TCP, FLOWER(TCP_DST), 2, PORT4(pdst)},
    {Member("fport"), kIpv4, IPPROTO_TCP, FLOWER(TCP_SRC), 2, PORT4(psrc)},
    {Member("lport"), kIpv6, IPPROTO_TCP, FLOWER(TCP_DST), 2, PORT6(pdst)},
    {Member("fport"), kIpv6, IPPROTO_TCP, FLOWER(TCP_SRC), 2, PORT6(psrc)},
    {Member("lport"), kIpv4, IPPROTO_UDP, FLOWER(UDP_DST), 2, PORT4(pdst)},
    {Member("fport"), kIpv4, IPPROTO_UDP, FLOWER(UDP_SRC), 2, PORT4(psrc)},
    {Member("lport"), kIpv6, IPPROTO_UDP, FLOWER(UDP_DST), 2, PORT6(pdst)},
    {Member("fport"), kIpv6, IPPROTO_UDP, FLOWER(UDP_SRC), 2, PORT6(psrc)},
    {Member("lport"), kIpv4, IPPROTO_SCTP, FLOWER(SCTP_DST), 2, PORT4(pdst)},
    {Member("fport"), kIpv4, IPPROTO_SCTP, FLOWER(SCTP_SRC), 2, PORT4(psrc)},
    {Member("lport"), kIpv6, IPPROTO_SCTP, FLOWER(SCTP_DST), 2, PORT6(pdst)},
    {Member("fport"), kIpv6, IPPROTO_SCTP, FLOWER(SCTP_SRC), 2, PORT6(psrc)},
};
// clang-format on

// As flower numbers it, so that the member's one bit is the flag's.
static_assert(TCA_FLOWER_KEY_FLAGS_IS_FRAGMENT == 1);

constexpr uint32_t kPorts = X4Bit("lport") | X4Bit("fport");
constexpr uint32_t kIpFields =
    zwmgmt::kX4FamilyBits | X4Bit("tos") | X4Bit("protocol") | X4Bit("fragmentation") | kPorts;
constexpr uint32_t kTags = X4Bit("vlan") | X4Bit("ovlan");
constexpr uint32_t kKnown = kIpFields | kTags | X4Bit("ethertype") | X4Bit("smac") | X4Bit("dmac") |
                            X4Bit("action") | X4Bit("vlan_action") | X4Bit("queue");

template <class Member>
Member MemberAt(const _FilterX4& rule, size_t offset) {
    Member member;
    std::memcpy(&member, reinterpret_cast<const char*>(&rule) + offset, sizeof(member));
    return member;
}

template <class Member>
void SetMember(_FilterX4* rule, size_t offset, const Member& member) {
    std::memcpy(reinterpret_cast<char*>(rule) + offset, &member, sizeof(member));
}

/// Six bytes of twelve digits, whatever is between them.
void ReadMac(std::string_view text, uint8_t* bytes) {
    unsigned digits = 0;
    for (const char c : text) {
        if (c == ':' || c == '-') continue;
        const int lower = c | 0x20;
        const int digit = c <= '9' ? c - '0' : lower - 'a' + 10;
        uint8_t& byte = bytes[digits++ / 2];
        byte = static_cast<uint8_t>(byte << 4 | digit);
    }
}

std::string MacText(const uint8_t* bytes) {
    char text[18];
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5]);
    return text;
}

// ---- The steps to the plain form: each says why there is none, or nothing

std::string RefuseUnknown(_FilterX4* rule) {
    for (const Argument& row : zwmgmt::X4Arguments()) {
        if (Has(*rule, row.bit & ~kKnown)) {
            return std::string(row.word) + ": the kernel's tables have nothing of the kind";
        }
    }
    return "";
}

std::string SettleAction(_FilterX4* rule) {
    constexpr uint32_t kNoTags = 1;
    if (!Has(*rule, X4Bit("action"))) rule->action = kPass;
    rule->present |= X4Bit("action");
    if (rule->action != kPass && rule->action != kDrop) return "x4action: rules pass or drop";
    if (Has(*rule, X4Bit("vlan_action")) && rule->vlan_action != kNoTags) {
        return "x4vlan: rules leave tags as they are";
    }
    rule->present &= ~X4Bit("vlan_action");
    if (rule->action == kDrop && Has(*rule, X4Bit("queue"))) {
        return "x4queue: what is dropped goes to no queue";
    }
    return "";
}

/// A mask has the member's bits, a value no others than the mask; what matches all is left out. Of
/// tags without a mask it is the id that was given.
std::string SettleNumbers(_FilterX4* rule) {
    for (const Argument& row : zwmgmt::X4Arguments()) {
        if (row.form != Form::kMasked || !Has(*rule, row.bit)) continue;
        const auto all = static_cast<uint32_t>(row.rule.most);
        auto member = MemberAt<FilterField>(*rule, row.offset);
        const bool is_id = member.mask == UINT32_MAX && (row.bit & kTags) != 0;
        if (is_id && member.value > kVlanIds) {
            return std::string(row.word) + ": without a mask it is an id of 12 bits";
        }
        member.mask &= is_id ? kVlanIds : all;
        member.value &= member.mask;
        SetMember(rule, row.offset, member);
        if (member.mask == 0) rule->present &= ~row.bit;
    }
    return "";
}

/// Rules of IP say so; without a word about the family they are of IPv4.
std::string SettleFamily(_FilterX4* rule) {
    const bool is_ip = Has(*rule, kIpFields);
    const bool ipv6 = rule->address_family != 0;
    if (is_ip) SetIp(rule, ipv6);
    if (!Has(*rule, X4Bit("ethertype"))) return "";
    const FilterField type = rule->ethertype;
    if (type.mask != 0xFFFF) return "ethertype: it is matched whole";
    if (type.value < ETH_P_802_3_MIN) return "ethertype: below 0x600 it is a length";
    switch (type.value) {
        case ETH_P_8021Q:
        case ETH_P_8021AD: return "ethertype: tags are matched by vlan and ovlan";
        case ETH_P_IPV6:
            if (!is_ip) return "ethertype: rules of IPv6 say type=ipv6";
            [[fallthrough]];
        case ETH_P_IP:
            if (ipv6 != (type.value == ETH_P_IPV6)) return "ethertype: it is another family's";
            SetIp(rule, ipv6);
            rule->present &= ~X4Bit("ethertype");
            return "";
        default: return is_ip ? "ethertype: its packets are not those of IP" : "";
    }
}

std::string SettleAddresses(_FilterX4* rule) {
    for (const MatchRow& row : kRows) {
        if (row.field->form != X4Field::kAddress || !Applies(row, *rule)) continue;
        const MatchBytes bytes = BytesOf(row, *rule);
        rule->present &= ~row.field->bit;
        SetMember(rule, row.field->offset, FilterAddress{});
        PutBytes(row, bytes, rule);
    }
    return "";
}

std::string SettlePorts(_FilterX4* rule) {
    const FilterField protocol = rule->protocol;
    constexpr uint32_t kOfPorts[] = {IPPROTO_TCP, IPPROTO_UDP, IPPROTO_SCTP};
    const bool has_ports = Has(*rule, X4Bit("protocol")) && protocol.mask == 0xFF &&
                           std::ranges::find(kOfPorts, protocol.value) != std::end(kOfPorts);
    return has_ports || !Has(*rule, kPorts) ? "" : "ports are those of TCP, UDP or SCTP alone";
}

std::string SettleMacs(_FilterX4* rule) {
    for (const MatchRow& row : kRows) {
        if (row.field->form == X4Field::kText && Applies(row, *rule)) {
            PutBytes(row, BytesOf(row, *rule), rule);
        }
    }
    return "";
}

constexpr std::string (*kSteps[])(_FilterX4*) = {RefuseUnknown, SettleAction, SettleNumbers,
                                                 SettleFamily,  SettlePorts,  SettleAddresses,
                                                 SettleMacs};

}  // namespace

std::span<const MatchRow> MatchRows() { return kRows; }

bool IsIp(const _FilterX4& rule) { return Has(rule, X4Bit("address_family")); }

void SetIp(_FilterX4* rule, bool ipv6) {
    rule->present |= X4Bit("address_family");
    rule->address_family = ipv6;
}

bool IsFor(const MatchRow& row, const _FilterX4& rule) {
    if (row.protocol != 0 && row.protocol != rule.protocol.value) return false;
    if (row.family == kAny) return true;
    return IsIp(rule) && (row.family == kIpv6) == (rule.address_family != 0);
}

bool Applies(const MatchRow& row, const _FilterX4& rule) {
    return Has(rule, row.field->bit) && IsFor(row, rule);
}

MatchBytes BytesOf(const MatchRow& row, const _FilterX4& rule) {
    MatchBytes bytes;
    switch (row.field->form) {
        case X4Field::kMasked: {
            const auto member = MemberAt<FilterField>(rule, row.field->offset);
            for (size_t i = 0; i < row.width; ++i) {
                const size_t shift = 8 * (row.width - 1 - i);
                bytes.value[i] = static_cast<uint8_t>(member.value >> shift);
                bytes.mask[i] = static_cast<uint8_t>(member.mask >> shift);
            }
            break;
        }
        case X4Field::kAddress: {
            const auto member = MemberAt<FilterAddress>(rule, row.field->offset);
            for (size_t i = 0; i < row.width; ++i) {
                bytes.value[i] = member.address[i];
                bytes.mask[i] = member.mask[i];
            }
            break;
        }
        default: {
            const char* text = reinterpret_cast<const char*>(&rule) + row.field->offset;
            ReadMac(zwmgmt::FixedText(text, row.field->width), bytes.value.data());
            std::fill_n(bytes.mask.begin(), row.width, uint8_t{0xFF});
        }
    }
    return bytes;
}

void PutBytes(const MatchRow& row, const MatchBytes& bytes, _FilterX4* rule) {
    if (bytes.mask == MatchBytes{}.mask) return;
    rule->present |= row.field->bit;
    switch (row.field->form) {
        case X4Field::kMasked: {
            FilterField member = {};
            for (size_t i = 0; i < row.width; ++i) {
                member.value = member.value << 8 | (bytes.value[i] & bytes.mask[i]);
                member.mask = member.mask << 8 | bytes.mask[i];
            }
            SetMember(rule, row.field->offset, member);
            break;
        }
        case X4Field::kAddress: {
            FilterAddress member = {};
            for (size_t i = 0; i < row.width; ++i) {
                member.address[i] = bytes.value[i] & bytes.mask[i];
                member.mask[i] = bytes.mask[i];
            }
            SetMember(rule, row.field->offset, member);
            break;
        }
        default: {
            char* text = reinterpret_cast<char*>(rule) + row.field->offset;
            zwmgmt::SetFixedText(text, row.field->width, MacText(bytes.value.data()));
        }
    }
}

bool IsWhole(const MatchRow& row, const MatchBytes& bytes) {
    return std::all_of(bytes.mask.begin(), bytes.mask.begin() + static_cast<long>(row.width),
                       [](uint8_t byte) { return byte == 0xFF; });
}

std::string MakePlain(_FilterX4* rule) {
    _FilterX4 settled = *rule;
    for (const auto step : kSteps) {
        std::string reason = step(&settled);
        if (!reason.empty()) return reason;
    }
    *rule = {};
    zwmgmt::agent::CopyGiven(settled, rule);
    rule->id = settled.id;
    return "";
}

bool AreEqual(const _FilterX4& plain, const _FilterX4& other) {
    return std::memcmp(&plain, &other, sizeof(plain)) == 0;
}

namespace {

/// What a protocol of X3 rules is.
struct X3Protocol {
    int32_t code;
    uint32_t bit;
    FilterField _FilterX4::*member;
    FilterField match;
};
constexpr X3Protocol kX3Protocols[] = {
    {1, X4Bit("protocol"), &_FilterX4::protocol, {IPPROTO_TCP, 0xFF}},
    {2, X4Bit("protocol"), &_FilterX4::protocol, {IPPROTO_UDP, 0xFF}},
    {3, X4Bit("fragmentation"), &_FilterX4::fragmentation, {1, 1}},
};

void SetMask(FilterAddress* address, int32_t prefix) {
    for (int32_t bit = 0; bit < prefix; ++bit) {
        address->mask[bit / 8] = static_cast<uint8_t>(address->mask[bit / 8] | 0x80 >> bit % 8);
    }
}

int32_t PrefixOf(const FilterAddress& address) {
    int32_t bits = 0;
    while (bits < 32 && (address.mask[bits / 8] & 0x80 >> bits % 8) != 0) ++bits;
    return bits;
}

}  // namespace

_FilterX4 FromX3(const _Filter& rule, std::string* reason) {
    _FilterX4 common = {};
    const auto take = [&](uint32_t x3_bit, uint32_t bit) {
        const bool given = (rule.present & x3_bit) != 0;
        if (given) common.present |= bit;
        return given;
    };
    common.id = static_cast<uint32_t>(rule.id);
    if ((rule.present & X3Bit("mac_index")) != 0) {
        *reason = "mac: the kernel's tables have nothing of the kind";
        return {};
    }
    if (take(X3Bit("source_address"), X4Bit("fip"))) {
        std::copy_n(rule.source_address, 4, common.fip.address);
        const bool has_prefix = (rule.present & X3Bit("source_prefix")) != 0;
        SetMask(&common.fip, has_prefix ? rule.source_prefix : 32);
    }
    if (take(X3Bit("destination_address"), X4Bit("lip"))) {
        std::copy_n(rule.destination_address, 4, common.lip.address);
        SetMask(&common.lip, 32);
    }
    if (take(X3Bit("source_port"), X4Bit("fport"))) {
        common.fport = {static_cast<uint32_t>(rule.source_port), 0xFFFF};
    }
    if (take(X3Bit("destination_port"), X4Bit("lport"))) {
        common.lport = {static_cast<uint32_t>(rule.destination_port), 0xFFFF};
    }
    if (take(X3Bit("vlan_id"), X4Bit("vlan"))) {
        common.vlan = {static_cast<uint32_t>(rule.vlan_id), kVlanIds};
    }
    if (take(X3Bit("vlan_priority"), X4Bit("vlan"))) {
        common.vlan.value |= static_cast<uint32_t>(rule.vlan_priority) << kVlanPriorityShift;
        common.vlan.mask |= kVlanPriorities;
    }
    if (take(X3Bit("queue"), X4Bit("queue"))) common.queue = static_cast<uint32_t>(rule.queue);
    if (take(X3Bit("action"), X4Bit("action"))) common.action = static_cast<uint32_t>(rule.action);
    for (const X3Protocol& row : kX3Protocols) {
        if ((rule.present & X3Bit("protocol")) == 0 || rule.protocol != row.code) continue;
        common.present |= row.bit;
        common.*row.member = row.match;
    }
    return common;
}

_Filter ToX3(const _FilterX4& plain) {
    _Filter rule = {};
    const auto take = [&](uint32_t bit, uint32_t x3_bit) {
        const bool given = Has(plain, bit);
        if (given) rule.present |= x3_bit;
        return given;
    };
    rule.id = static_cast<int32_t>(plain.id);
    if (take(X4Bit("fip"), X3Bit("source_address"))) {
        std::copy_n(plain.fip.address, 4, rule.source_address);
        rule.source_prefix = PrefixOf(plain.fip);
        if (rule.source_prefix < 32) rule.present |= X3Bit("source_prefix");
        if (rule.source_prefix == 32) rule.source_prefix = 0;
    } else if (IsIp(plain) && !Has(plain, kIpFields & ~zwmgmt::kX4FamilyBits) &&
               !Has(plain, X4Bit("lip"))) {
        rule.present |= X3Bit("source_address") | X3Bit("source_prefix");  // any of IPv4
    }
    if (take(X4Bit("lip"), X3Bit("destination_address"))) {
        std::copy_n(plain.lip.address, 4, rule.destination_address);
    }
    if (take(X4Bit("fport"), X3Bit("source_port"))) {
        rule.source_port = static_cast<int32_t>(plain.fport.value);
    }
    if (take(X4Bit("lport"), X3Bit("destination_port"))) {
        rule.destination_port = static_cast<int32_t>(plain.lport.value);
    }
    const FilterField tag = plain.vlan;
    if ((tag.mask & kVlanIds) != 0 && take(X4Bit("vlan"), X3Bit("vlan_id"))) {
        rule.vlan_id = static_cast<int32_t>(tag.value & kVlanIds);
    }
    if ((tag.mask & kVlanPriorities) != 0 && take(X4Bit("vlan"), X3Bit("vlan_priority"))) {
        rule.vlan_priority = static_cast<int32_t>(tag.value >> kVlanPriorityShift);
    }
    if (take(X4Bit("queue"), X3Bit("queue"))) rule.queue = static_cast<int32_t>(plain.queue);
    if (take(X4Bit("action"), X3Bit("action"))) rule.action = static_cast<int32_t>(plain.action);
    for (const X3Protocol& row : kX3Protocols) {
        const FilterField match = plain.*row.member;
        if (Has(plain, row.bit) && match.value == row.match.value) {
            rule.protocol = row.code;
            rule.present |= X3Bit("protocol");
        }
    }
    return rule;
}

}  // namespace zmagent
