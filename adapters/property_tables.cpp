#include <algorithm>
#include <type_traits>

#include "adapters/properties.h"
#include "commands/handler.h"
#include "commands/keys.h"
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
constexpr Argument Row(NumberReader read, OsSet systems, const char* word, int key, size_t offset,
                       Form form, uint32_t bit, Rule rule = {}, Chips chips = Chips::kAny) {
    return {.word = word,
            .key = key,
            .offset = offset,
            .width = sizeof(Member),
            .is_signed = std::is_signed_v<Member>,
            .form = form,
            .bit = bit,
            .rule = rule,
            .read = read,
            .takes = form == Form::kText ? "a number" : nullptr,
            .systems = systems,
            .heeded = systems,
            .chips = chips};
}

/// A row of a bit that agents read in two ways.
constexpr Argument HeededBy(OsSet agents, Argument row) {
    row.heeded = agents;
    return row;
}

/// "auto", or a speed in Mb/s, "-" and the duplex.
Verdict SetSpeedDuplex(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                       const Client_Request_Argument& key, void* record) {
    auto* settings = static_cast<PortSettings*>(record);
    const std::string_view text = ValueOf(key);
    settings->speed_mode = SameIgnoringCase(text, "auto");
    settings->fixed_speed = 0;
    settings->duplex = 0;
    if (settings->speed_mode != 0) return {};
    const size_t dash = text.find('-');
    if (dash == text.npos) return Wrong();
    const std::string_view speed_text = text.substr(0, dash);
    const std::string_view duplex = text.substr(dash + 1);
    const auto speed = speed_text.empty() ? 0 : Decimal<uint16_t>(speed_text);
    if (!speed) return Wrong("Invalid speed value\n");
    if (duplex.empty()) return Wrong("Invalid speedduplex value\n");
    const bool full = duplex == "full" || duplex == "Full";
    if (!full && duplex != "half" && duplex != "Half") return Wrong("Invalid duplex value\n");
    settings->fixed_speed = static_cast<uint16_t>(*speed);
    settings->duplex = full;
    return {};
}

/// Link modes in any case, separated by "|".
Verdict SetAdvertised(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                      const Client_Request_Argument& key, void* record) {
    auto* settings = static_cast<PortSettings*>(record);
    std::string_view text = ValueOf(key);
    settings->advertised_modes = 0;
    for (bool more = true; more;) {
        const size_t bar = std::min(text.find('|'), text.size());
        const std::string_view piece = text.substr(0, bar);
        const auto* mode = std::ranges::find_if(
            kLinkModes, [&](const LinkMode& row) { return SameIgnoringCase(row.word, piece); });
        if (mode == std::end(kLinkModes)) return Wrong("Invalid Advertise value\n");
        settings->advertised_modes |= mode->bits;
        more = bar < text.size();
        text.remove_prefix(more ? bar + 1 : bar);
    }
    return {};
}

constexpr Argument SetBy(Argument::Setter set, Argument row) {
    row.read = nullptr;
    row.set = set;
    return row;
}

// A row: agents, key, member of the settings, form, bit [, rule [, chips]].
#define CARD(systems, word, member, form, ...)                                                  \
    Row<decltype(CardSettings::member)>(Form::form == Form::kText ? nullptr : Decimal<int64_t>, \
                                        systems, word, AdapterKey(word),                        \
                                        offsetof(CardSettings, member), Form::form, __VA_ARGS__)
#define PORT_KEY(systems, word, key, member, form, ...)               \
    Row<decltype(PortSettings::member)>(AsCReads, systems, word, key, \
                                        offsetof(PortSettings, member), Form::form, __VA_ARGS__)
#define PORT(systems, word, member, form, ...) \
    PORT_KEY(systems, word, AdapterKey(word), member, form, __VA_ARGS__)
// Speed mode, fixed speed and duplex, in one.
#define SPEED_DUPLEX(systems)                                                                     \
    SetBy(                                                                                        \
        SetSpeedDuplex,                                                                           \
        Row<char[offsetof(PortSettings, advertised_modes) - offsetof(PortSettings, speed_mode)]>( \
            nullptr, systems, "speedduplex", AdapterKey("speedduplex"),                           \
            offsetof(PortSettings, speed_mode), Form::kSpeedDuplex, 0x2))

// clang-format off
constexpr Argument kCardProperties[] = {
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
constexpr Argument kPortProperties[] = {
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
    SetBy(SetAdvertised, PORT(kEthtoolAgents, "advertise", advertised_modes, kAdvertise, 0x2000000)),
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

std::span<const Argument> CardProperties() { return kCardProperties; }
std::span<const Argument> PortProperties() { return kPortProperties; }

}  // namespace zwmgmt
