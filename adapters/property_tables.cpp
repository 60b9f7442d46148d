#include <algorithm>
#include <limits>
#include <type_traits>

#include "adapters/properties.h"
#include "cli/command_keys.h"
#include "cli/keys.h"
#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/net.h"
#include "zwmgmt/records/port.h"

namespace zwmgmt {
namespace {

constexpr OsSet kWindowsAgents = {kWindows};
constexpr OsSet kFreeBsdAgents = {kFreeBsd};
constexpr OsSet kMacAgents = {kMac};
constexpr OsSet kTuningAgents = {kLinux, kSolaris, kXen};
constexpr OsSet kEthtoolAgents = {kLinux, kSolaris, kEsx, kMac, kXen};
constexpr OsSet kSolarisAgents = {kSolaris};
constexpr OsSet kNotSolarisAgents = {kLinux, kEsx, kMac, kXen};

constexpr Rule kZeroOrOne = {0, 1, "the value may be either 0 or 1\n"};
constexpr Rule kSwitch = {0, 1};
constexpr Rule kDirection = {0, 3};  // disabled, one, the other, both
constexpr Rule kBytes = {1, kHighestMtu};
constexpr Rule kVlanId = {0, kHighestVlan};

/// A row of a member of that type.
template <class Member>
constexpr Property Row(OsSet systems, const char* word, int key, size_t offset, Form form,
                       uint32_t bit, Rule rule = {}, Chips chips = Chips::kAny) {
    return {systems, systems, word, key,  offset, sizeof(Member), std::is_signed_v<Member>,
            form,    bit,     rule, chips};
}

/// A row of a bit that agents read in two ways.
constexpr Property HeededBy(OsSet agents, Property row) {
    row.heeded = agents;
    return row;
}

// A row: agents, key, member of the settings, form, bit [, rule [, chips]].
#define CARD(systems, word, member, form, ...)                           \
    Row<decltype(CardSettings::member)>(systems, word, AdapterKey(word), \
                                        offsetof(CardSettings, member), Form::form, __VA_ARGS__)
#define PORT_KEY(systems, word, key, member, form, ...)                                     \
    Row<decltype(PortSettings::member)>(systems, word, key, offsetof(PortSettings, member), \
                                        Form::form, __VA_ARGS__)
#define PORT(systems, word, member, form, ...) \
    PORT_KEY(systems, word, AdapterKey(word), member, form, __VA_ARGS__)
// Speed mode, fixed speed and duplex, in one.
#define SPEED_DUPLEX(systems)                                                                  \
    Row<char[offsetof(PortSettings, advertised_modes) - offsetof(PortSettings, speed_mode)]>(  \
        systems, "speedduplex", AdapterKey("speedduplex"), offsetof(PortSettings, speed_mode), \
        Form::kSpeedDuplex, 0x2)

// clang-format off
constexpr Property kCardProperties[] = {
    CARD(kWindowsAgents, "jumboqsize", qsfl_jumbo_q_size, kText, 0x1, {}, Chips::kX3),
    CARD(kWindowsAgents, "regqsize", qsfl_reg_q_size, kText, 0x2, {}, Chips::kX3),
    CARD(kWindowsAgents, "toectrlqsize", qs_toe_ctrl_q_size, kText, 0x4, {}, Chips::kX3),
    CARD(kWindowsAgents, "toeqsize", qs_toe_q_size, kText, 0x8, {}, Chips::kX3),
    CARD(kWindowsAgents, "tunqsize", qs_tun_q_size, kText, 0x10, {}, Chips::kX3),
    CARD(kWindowsAgents, "maxvmqueues", max_vm_queues, kText, 0x1, {}, Chips::kX4AndX5),

    CARD(kTuningAgents, "maxhostsndbuf", max_host_sndbuf, kNumber, 0x4),
    CARD(kTuningAgents, "txholdthres", tx_hold_thres, kNumber, 0x8),
    CARD(kTuningAgents, "maxwrs", max_wrs, kNumber, 0x10),
    CARD(kTuningAgents, "maxwrscredits", max_wrs, kNumber, 0x800000),
    CARD(kTuningAgents, "rxcreditthres", rx_credit_thres, kNumber, 0x20),
    CARD(kTuningAgents, "failover_alg", failover_alg, kNumber, 0x40),
    CARD(kTuningAgents, "mss", mss, kNumber, 0x80),
    CARD(kTuningAgents, "delack", delack, kNumber, 0x100),
    CARD(kTuningAgents, "maxconn", max_conn, kNumber, 0x200),
    CARD(kTuningAgents, "softbackloglimit", soft_backlog_limit, kNumber, 0x400),
    CARD(kTuningAgents, "ddp", ddp, kNumber, 0x800),
    CARD(kTuningAgents, "ksegddp", kseg_ddp, kNumber, 0x200000, kZeroOrOne),
    CARD(kTuningAgents, "ddpthres", ddp_thres, kNumber, 0x1000),
    CARD(kTuningAgents, "recvmsg_spin_us", recvmsg_spin_us, kNumber, 0x2000),
    CARD(kTuningAgents, "ddppushwait", ddp_push_wait, kNumber, 0x4000, kZeroOrOne),
    CARD(kTuningAgents, "ddprcvcoalesce", ddp_rcvcoalesce, kNumber, 0x8000, kZeroOrOne),
    CARD(kTuningAgents, "zcopypartialthres", zcopy_sendmsg_partial_thres, kNumber, 0x10000),
    CARD(kTuningAgents, "zcopypartialcopy", zcopy_sendmsg_partial_copy, kNumber, 0x20000),
    CARD(kTuningAgents, "zcopythres", zcopy_sendmsg_thres, kNumber, 0x40000),
    CARD(kTuningAgents, "zcopycopy", zcopy_sendmsg_copy, kNumber, 0x80000),
    CARD(kTuningAgents, "zcopypendingdma", zcopy_sendmsg_ret_pending_dma, kNumber, 0x100000, kZeroOrOne),
    CARD(kTuningAgents, "activated", activated, kNumber, 0x2),
    CARD(kTuningAgents, "cop_managed_offloading", cop_managed_offloading, kNumber, 0x400000),
    CARD(kTuningAgents, "txcoalesce", tx_coalesce, kLowByte, 0x1000000, {1, 2, "The value may be either 1 or 2\n"}),

    CARD(kFreeBsdAgents, "maxhostsndbuf", max_host_sndbuf, kNumber, 0x4),
    CARD(kFreeBsdAgents, "ddp", ddp, kNumber, 0x800),
    CARD(kFreeBsdAgents, "ddpthres", ddp_thres, kNumber, 0x1000),
    CARD(kFreeBsdAgents, "activated", activated, kNumber, 0x2),
    CARD(kFreeBsdAgents, "ddpindsz", ddp_indsz, kNumber, 0x8),

    CARD(kMacAgents, "tso", tso, kNumber, 0x1),
};

// "mtu" is two keys of one word, and so is "vlan": a command line reaches the networking ones alone.
constexpr Property kPortProperties[] = {
    HeededBy(kNotSolarisAgents, SPEED_DUPLEX(kEthtoolAgents)),
    PORT(kEthtoolAgents, "txcksum", tx_checksum, kFlag, 0x800),
    PORT(kEthtoolAgents, "rxcksum", rx_checksum, kFlag, 0x1000),
    PORT(kEthtoolAgents, "scattergather", scatter_gather, kFlag, 0x100000),
    HeededBy(kNotSolarisAgents, PORT(kEthtoolAgents, "txpfsupport", tx_pause_frames, kFlag, 0x40)),
    HeededBy(kNotSolarisAgents, PORT(kEthtoolAgents, "rxpfsupport", rx_pause_frames, kFlag, 0x20)),
    PORT(kEthtoolAgents, "lso", large_segment_offload, kFlag, 0x100),
    PORT(kEthtoolAgents, "mtu", mtu, kNumberText, 0x4, kBytes),
    PORT_KEY(kEthtoolAgents, "mtu", NetworkingKey("mtu"), mtu, kNumberText, 0x4, kBytes),
    PORT(kEthtoolAgents, "gso", gso, kNumber, 0x200000, kSwitch),
    PORT(kEthtoolAgents, "msglevel", message_level, kNumber, 0x400000),
    PORT(kEthtoolAgents, "rxusecs", coalesce_rx_usecs, kNumber, 0x800000),
    PORT(kEthtoolAgents, "advertise", advertised_modes, kAdvertise, 0x2000000),
    PORT(kEthtoolAgents, "ringrx", ring_rx, kLow16, 0x4000000),
    PORT(kEthtoolAgents, "ringrxmini", ring_rx_mini, kLow16, 0x8000000),
    PORT(kEthtoolAgents, "ringrxjumbo", ring_rx_jumbo, kLow16, 0x10000000),
    PORT(kEthtoolAgents, "ringtx", ring_tx, kLow16, 0x20000000),
    PORT(kEthtoolAgents, "pauseautoneg", pause_autonegotiation, kNumber, 0x1000000, kSwitch),
    PORT(kEthtoolAgents, "resetautoneg", pause_autonegotiation, kNothing, 0x80000000, {1, 1, "Invalid resetautoneg value\n"}),
    HeededBy(kNotSolarisAgents, PORT(kEthtoolAgents, "tso", tso, kNumber, 0x400, kSwitch)),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "coalesce", set_coalesce, kNumber, 0x80, {1, 250, "coalesce value must be between 1-250\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "hw_lso", set_hw_lso, kNumber, 0x200, {0, 1, "hw_lso value must be  0 or 1\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "rx_pause", set_rx_pause, kNumber, 0x20, {0, 1, "rx_pause value must be 0 or 1\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "tx_pause", set_tx_pause, kNumber, 0x40, {0, 1, "tx_pause value must be 0 or 1\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "holdoff_tmr_idx", set_holdoff_timer_idx, kNumber, 0x400, {0, 5, "holdoff_timer_idx value must be between  0-5\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "holdoff_pktc_idx", set_holdoff_pktc_idx, kNumber, 0x8, {0, 3, "holdoff_pktc_idx value must be between 0-3\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "hw-csum", set_hw_csum, kNumber, 0x10, {0, 1, "hw-csum value must be  0 or 1\n"})),
    HeededBy(kSolarisAgents, PORT(kEthtoolAgents, "accept-jumbo", set_accept_jumbo, kNumber, 0x2, {0, 1, "accept-jumbo value must be 0 or 1\n"})),

    SPEED_DUPLEX(kWindowsAgents),
    PORT(kWindowsAgents, "txcksum", tx_checksum, kFlag, 0x800, {}, Chips::kX3),
    PORT(kWindowsAgents, "rxcksum", rx_checksum, kFlag, 0x1000, {}, Chips::kX3),
    PORT(kWindowsAgents, "txpfsupport", tx_pause_frames, kFlag, 0x40, {}, Chips::kX3),
    PORT(kWindowsAgents, "rxpfsupport", rx_pause_frames, kFlag, 0x20, {}, Chips::kX3),
    PORT(kWindowsAgents, "lso", large_segment_offload, kFlag, 0x100, {}, Chips::kX3),
    PORT(kWindowsAgents, "mtu", mtu, kText, 0x4, {}, Chips::kX3),
    PORT(kWindowsAgents, "tcpoffload", tcp_offload, kFlag, 0x400, {}, Chips::kX3),
    PORT(kWindowsAgents, "iscsifunc", iscsi_function, kFlag, 0x1, {}, Chips::kX3),
    PORT(kWindowsAgents, "iwarpfunc", iwarp_function, kFlag, 0x80, {}, Chips::kX3),
    PORT(kWindowsAgents, "ndisfunc", ndis_function, kFlag, 0x8, {0, 2}, Chips::kX3),
    PORT(kWindowsAgents, "queues", queues, kText, 0x10, {}, Chips::kX3),
    PORT(kWindowsAgents, "rss", receive_side_scaling, kFlag, 0x200),
    PORT(kWindowsAgents, "vlan", vlan_insertion, kFlag, 0x2000, {}, Chips::kX3),
    PORT(kWindowsAgents, "vlanid", vlan_id, kText, 0x4000, kVlanId),
    PORT(kWindowsAgents, "optmode", performance_mode, kFlag, 0x8000, {}, Chips::kX3),
    PORT(kWindowsAgents, "ipv6cksum", ipv6_checksum, kFlag, 0x10000, {}, Chips::kX3),
    PORT(kWindowsAgents, "lsoipv4", lso_v2_ipv4, kFlag, 0x8, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "lsoipv6", lso_v2_ipv6, kFlag, 0x10, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "flowcontrol", flow_control, kFlag, 0x20, kDirection, Chips::kX4AndX5),
    PORT(kWindowsAgents, "ipchksumoffloadv4", ipv4_checksum, kFlag, 0x40, kDirection, Chips::kX4AndX5),
    PORT(kWindowsAgents, "vmq_param", vmq, kFlag, 0x80, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "vmqlookaheadspilt", vmq_lookahead_split, kFlag, 0x100, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "vmqvlanfiltering", vmq_vlan_filtering, kFlag, 0x400, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "tcpchksumoffloadv4", tcp_checksum_ipv4, kFlag, 0x800, kDirection, Chips::kX4AndX5),
    PORT(kWindowsAgents, "tcpchksumoffloadv6", tcp_checksum_ipv6, kFlag, 0x1000, kDirection, Chips::kX4AndX5),
    PORT(kWindowsAgents, "udpchksumoffloadv4", udp_checksum_ipv4, kFlag, 0x2000, kDirection, Chips::kX4AndX5),
    PORT(kWindowsAgents, "udpchksumoffloadv6", udp_checksum_ipv6, kFlag, 0x8000, kDirection, Chips::kX4AndX5),
    PORT(kWindowsAgents, "rssprofile", rss_profile, kText, 0x80000, {0, 4}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "x4nicrespquesize", response_queue_size, kText, 0x20000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "x4nictxquesize", tx_queue_size, kText, 0x40000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "x4nictxofldquesize", tx_offload_queue_size, kText, 0x10000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "x4nicrxofldquesize", rx_offload_queue_size, kText, 0x100000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "x4nictcpoffload", x4_nic_tcp_offload, kFlag, 0x200000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "numrssqueues", rss_queues, kText, 0x8000000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "networkdirect", network_direct, kFlag, 0x800000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "ndinterrupt", nd_interrupt_moderation, kFlag, 0x400000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "rcvcoalescipv4", receive_coalescing_ipv4, kFlag, 0x1000000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "rcvcoalescipv6", receive_coalescing_ipv6, kFlag, 0x2000000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "jumbopacket", jumbo_packet, kText, 0x4000000, {}, Chips::kX4AndX5),
    PORT(kWindowsAgents, "usermodend", user_mode_nd, kFlag, 0x10000000, {}, Chips::kX4AndX5),

    PORT_KEY(kFreeBsdAgents, "mtu", NetworkingKey("mtu"), mtu, kNumberText, 0x4, kBytes),
    PORT(kFreeBsdAgents, "txcksum", tx_checksum, kFlag, 0x800),
    PORT(kFreeBsdAgents, "rxcksum", rx_checksum, kFlag, 0x1000),
    PORT(kFreeBsdAgents, "tso", tso, kNumber, 0x400, kSwitch),
    PORT(kFreeBsdAgents, "holdoff_tmr_idx", holdoff_tmr_idx, kNumber, 0x8),
    PORT(kFreeBsdAgents, "holdoff_pktc_idx", holdoff_pktc_idx, kNumber, 0x10),
    PORT(kFreeBsdAgents, "qsize_rxq", qsize_rxq, kNumber, 0x200),
    PORT(kFreeBsdAgents, "qsize_txq", qsize_txq, kNumber, 0x20000),
};
// clang-format on

#undef CARD
#undef PORT_KEY
#undef PORT
#undef SPEED_DUPLEX

}  // namespace

std::span<const Property> CardProperties() { return kCardProperties; }
std::span<const Property> PortProperties() { return kPortProperties; }

const Property* FindProperty(std::span<const Property> table, uint8_t os_type, int key) {
    const auto row = std::ranges::find_if(table, [&](const Property& property) {
        return property.systems.Has(os_type) && property.key == key;
    });
    return row != table.end() ? &*row : nullptr;
}

namespace {

/// What the field can hold and the request builders read: those of ports no negative number.
std::string RangeOfField(const Property& property) {
    constexpr int64_t kHighestOfPorts = std::numeric_limits<int32_t>::max();
    const bool of_a_port = std::ranges::any_of(
        kPortProperties, [&](const Property& row) { return &row == &property; });
    if (property.width == sizeof(int64_t)) return "a number";
    const int64_t end = int64_t{1} << (8 * property.width);
    if (of_a_port) return RangeText(0, std::min(end - 1, kHighestOfPorts));
    return property.is_signed ? RangeText(-end / 2, end / 2 - 1) : RangeText(0, end - 1);
}

}  // namespace

std::string TakenBy(const Property& property) {
    const Rule& rule = property.rule;
    const bool ranged = rule.least != rule.most || rule.message != nullptr;
    const std::string range = ranged ? RangeText(rule.least, rule.most) : "";
    switch (property.form) {
        case Form::kFlag: return "one digit, " + (ranged ? range : RangeText(0, 1));
        case Form::kText:
            if (ranged) return range;
            return "a number of at most " + std::to_string(property.width) + " characters";
        case Form::kLow16: return RangeText(0, 0xFFFF);
        case Form::kNumber:
        case Form::kLowByte:
        case Form::kNumberText:
        case Form::kNothing: return ranged ? range : RangeOfField(property);
        case Form::kSpeedDuplex: return "auto, or Mb/s and duplex: 1000-Full";
        case Form::kAdvertise: return "link modes: 100baseT/Full|1000baseT/Full, or auto";
    }
    return "";
}

bool Knows(std::span<const Property> table, uint8_t os_type) {
    return std::ranges::any_of(
        table, [&](const Property& property) { return property.systems.Has(os_type); });
}

}  // namespace zwmgmt
