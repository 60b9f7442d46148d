/// The printer of "korvane listports". Which lines a port gets follows from the agent's OS, the
/// port's name and marks that an earlier port of the same listing may have set.
#include <algorithm>
#include <span>

#include "adapters/port_fields.h"
#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr const char* kDisabledEnabled[] = {"Disabled", "Enabled"};
constexpr Wording kOnOff = Flag(kDisabledEnabled);
constexpr const char* kDirections[] = {"Disabled", "Tx Enabled", "Rx Enabled", "Tx and Rx Enabled"};
constexpr const char* kRssProfiles[] = {"Closest Processor", "Closest Processor Static",
                                        "NUMA Scaling", "NUMA Scaling Static",
                                        "Conservative Scaling"};
constexpr const char* kNdisModes[] = {"Disabled", "NIC mode", "Offload mode"};
constexpr const char* kPerformanceModes[] = {"Compatibility", "Performance"};

// Rows: a member of the record, or of its settings, and its line.
#define SHOWN(member, ...) ZWMGMT_FIELD(_PortInformation, member, __VA_ARGS__)
#define SETTING(member, ...) ZWMGMT_PART_FIELD(_PortInformation, settings, member, __VA_ARGS__)

// clang-format off
constexpr Field kCommonLines[] = {
    SHOWN(port_instance, "Port Instance              : %d\n"),
    SHOWN(name, "Friendly Name              : %s\n"),
    SETTING(tx_pause_frames, "Tx pause frame support     : %s\n", kOnOff),
    SETTING(rx_pause_frames, "Rx pause frame support     : %s\n", kOnOff),
};

constexpr Field kMacLines[] = {
    SETTING(tso, "TCP Segmentation offload   : %s\n", Switch("Disabled", "Enabled")),
    SHOWN(media_type, "Media Type                  : %s\n"),
    SHOWN(media_supported, "Media  Supported             : %s\n"),
    SHOWN(link_detected, "Link detected              : %s\n", Switch("No", "Yes")),
};

constexpr Field kEthtoolLines[] = {
    SETTING(mtu, "MTU                        : %s\n"),
    SETTING(rx_checksum, "Rx Checksum support\t   : %s\n", kOnOff),
    SETTING(tx_checksum, "Tx Checksum support\t   : %s\n", kOnOff),
    SETTING(pause_autonegotiation, "Pause Autonegotiation      : %s\n", Switch("Off", "On")),
    SHOWN(name, "Interface Name             : %s\n"),
    SHOWN(media_supported, "Supported Ports            : %s\n"),
    SHOWN(media_type, "Port Type                  : %s\n"),
    SETTING(speed_mode, "Auto-negotiation\t   : %s\n", Switch("Off", "On")),
    SHOWN(supports_autonegotiation, "Supports Auto-negotiation  : %s\n", Switch("No", "Yes")),
    SHOWN(advertises_autonegotiation, "Advertised Auto-negotiation: %s\n", Switch("No", "Yes")),
    SHOWN(supported_wake_on, "Supports Wake-On           : %s\n"),
    SHOWN(wake_on, "Wake On                    : %s\n"),
    SHOWN(supported_link_modes, "Supported Link Modes       : %s\n"),
    SHOWN(advertised_link_modes, "Advertized Link Modes      : %s\n"),
    SHOWN(phy_address, "Phy_Ad                     : %d\n"),
    SHOWN(transceiver, "Transceiver                : %s\n"),
    SETTING(message_level, "Message Level              : 0x%x\n"),
    SHOWN(link_detected, "Link detected              : %s\n", Switch("No", "Yes")),
    SHOWN(ring_max_rx, "Ring_max_rx                : %d\n"),
    SHOWN(ring_max_rx_mini, "Ring_max_rx_mini           : %d\n"),
    SHOWN(ring_max_rx_jumbo, "Ring_max_rx_jumbo          : %d\n"),
    SHOWN(ring_max_tx, "Ring_max_tx                : %d\n"),
    SETTING(ring_rx, "Ring_rx                    : %d\n"),
    SETTING(ring_rx_mini, "Ring_rx_mini               : %d\n"),
    SETTING(ring_rx_jumbo, "Ring_rx_jumbo              : %d\n"),
    SETTING(ring_tx, "Ring_tx                    : %d\n"),
    SETTING(coalesce_rx_usecs, "Coalesce rx_usecs          : %u\n"),
    SETTING(scatter_gather, "Scatter-gather             : %s\n", kOnOff),
    SETTING(tso, "TCP Segmentation offload   : %s\n", Switch("Disabled", "Enabled")),
    SETTING(gso, "Generic Segmentation offload         : %s\n", Switch("Disabled", "Enabled")),
};

constexpr Field kFreeBsdLines[] = {
    SETTING(mtu, "MTU                        : %s\n"),
    SETTING(rx_checksum, "Rx Checksum support\t   : %s\n", kOnOff),
    SETTING(tx_checksum, "Tx Checksum support\t   : %s\n", kOnOff),
    SHOWN(name, "Interface Name             : %s\n"),
    SHOWN(supported_wake_on, "Supports Wake-On           : %s\n"),
    SHOWN(wake_on, "Wake On                    : %s\n"),
    SHOWN(link_detected, "Link detected              : %s\n", Switch("No", "Yes")),
    SETTING(tso, "TCP Segmentation offload   : %s\n", Switch("Disabled", "Enabled")),
};

constexpr Field kFreeBsdQueueLines[] = {
    SETTING(holdoff_tmr_idx, "holdoff_tmr_idx\t\t   : %u\n"),
    SETTING(holdoff_pktc_idx, "holdoff_pktc_idx\t   : %u\n"),
    SETTING(nrxq, "nrxq\t\t\t   : %u\n"),
    SETTING(first_rxq, "first_rxq\t\t   : %u\n"),
    SETTING(nofldrxq, "nofldrxq\t\t   : %u\n"),
    SETTING(first_ofld_rxq, "first_ofld_rxq\t\t   : %u\n"),
    SETTING(qsize_rxq, "qsize_rxq\t\t   : %u\n"),
    SETTING(ntxq, "ntxq\t\t\t   : %u\n"),
    SETTING(first_txq, "first_txq\t\t   : %u\n"),
    SETTING(nofldtxq, "nofldtxq\t\t   : %u\n"),
    SETTING(first_ofld_txq, "first_ofld_txq\t\t   : %u\n"),
    SETTING(qsize_txq, "qsize_txq\t\t   : %u\n"),
};

constexpr Field kFreeBsdQueueSetLines[] = {
    SETTING(nqsets, "nqsets\t\t\t   : %u\n"),
};

constexpr Field kSolarisLines[] = {
    SHOWN(port_instance, "Port Instance\t\t\t:%d\n"),
    SHOWN(name, "Interface Name\t\t\t:%s\n"),
};

constexpr Field kSolarisX4Lines[] = {
    SETTING(mtu, "MTU\t\t\t\t:%s\n"),
    SHOWN(adv_autoneg_cap, "adv_autoneg_cap\t\t\t:%d\n"),
    SHOWN(adv_1000fdx_cap, "adv_1000fdx_cap\t\t\t:%d\n"),
    SHOWN(adv_10gfdx_cap, "adv_10gfdx_cap\t\t\t:%d\n"),
    SHOWN(adv_1000hdx_cap, "adv_1000hdx_cap\t\t\t:%d\n"),
    SHOWN(adv_100fdx_cap, "adv_100fdx_cap\t\t\t:%d\n"),
    SHOWN(adv_100hdx_cap, "adv_100hdx_cap\t\t\t:%d\n"),
    SHOWN(adv_10fdx_cap, "adv_10fdx_cap\t\t\t:%d\n"),
    SHOWN(adv_10hdx_cap, "adv_10hdx_cap\t\t\t:%d\n"),
    SHOWN(link_up, "link_status\t\t\t:%s\n", Switch("Down", "Up")),
    SHOWN(link_speed, "link_speed\t\t\t:%d Mbps\n"),
    SHOWN(link_duplex, "link_duplex\t\t\t:%d\n"),
    SHOWN(autoneg_cap, "autoneg_cap\t\t\t:%d\n"),
    SHOWN(pause_cap, "pause_cap\t\t\t:%d\n"),
    SHOWN(asym_pause_cap, "asym_pause_cap\t\t\t:%d\n"),
    SHOWN(cap_1000fdx, "1000fdx_cap\t\t\t:%d\n"),
    SHOWN(cap_1000hdx, "1000hdx_cap\t\t\t:%d\n"),
    SHOWN(cap_100fdx, "100fdx_cap\t\t\t:%d\n"),
    SHOWN(cap_100hdx, "100hdx_cap\t\t\t:%d\n"),
    SHOWN(cap_10fdx, "10fdx_cap\t\t\t:%d\n"),
    SHOWN(cap_10hdx, "10hdx_cap\t\t\t:%d\n"),
    SHOWN(lp_autoneg_cap, "lp_autoneg_cap\t\t\t:%d\n"),
    SHOWN(lp_pause_cap, "lp_pause_cap\t\t\t:%d\n"),
    SHOWN(lp_asym_pause_cap, "lp_asym_pause_cap\t\t:%d\n"),
    SHOWN(lp_1000hdx_cap, "lp_1000hdx_cap\t\t\t:%d\n"),
    SHOWN(lp_1000fdx_cap, "lp_1000fdx_cap\t\t\t:%d\n"),
    SHOWN(lp_100fdx_cap, "lp_100fdx_cap\t\t\t:%d\n"),
    SHOWN(lp_100hdx_cap, "lp_100hdx_cap\t\t\t:%d\n"),
    SHOWN(lp_10fdx_cap, "lp_10fdx_cap\t\t\t:%d\n"),
    SHOWN(lp_10hdx_cap, "lp_10hdx_cap\t\t\t:%d\n"),
    SHOWN(link_autoneg, "link_autoneg\t\t\t:%d\n"),
    SHOWN(holdoff_timer_idx, "holdoff_timer_idx\t\t:%d\n"),
    SHOWN(solaris_holdoff_pktc_idx, "holdoff_pktc_idx\t\t:%d\n"),
    SHOWN(hw_csum, "hw-csum\t\t\t\t:%d\n"),
    SHOWN(hw_lso, "hw-lso\t\t\t\t:%d\n"),
    SHOWN(tx_pause, "tx_pause\t\t\t:%d\n"),
    SHOWN(rx_pause, "rx_pause\t\t\t:%d\n"),
};

constexpr Field kSolarisX3Lines[] = {
    SHOWN(accept_jumbo, "accept-jumbo\t\t\t:%d\n"),
    SHOWN(hw_csum, "hw-csum\t\t\t\t:%d\n"),
    SHOWN(solaris_lso, "lso\t\t\t\t:%d\n"),
    SHOWN(tx_pause, "tx_pause\t\t\t:%d\n"),
    SHOWN(rx_pause, "rx_pause\t\t\t:%d\n"),
    SHOWN(coalesce, "coalesce\t\t\t:%d\n"),
    SHOWN(link_up, "Link\t\t\t\t:%s\n", Switch("Down", "Up")),
    SHOWN(link_speed, "link_speed\t\t\t:%d Mbps\n"),
    SHOWN(link_duplex, "link_duplex\t\t\t:%d\n"),
    SHOWN(autoneg_cap, "autoneg_cap\t\t\t:%d\n"),
};

constexpr Field kWindowsLines[] = {
    SHOWN(description, "Description                : %s\n"),
};

constexpr Field kWindowsX4Lines[] = {
    SETTING(nic_functionality, "NIC Functionality          : %s\n", kOnOff),
    SETTING(receive_side_scaling, "Receive Side Scaling(RSS)  : %s\n", kOnOff),
    SETTING(rss_profile, "RSS Profile                : %s\n", Flag(kRssProfiles)),
    SETTING(rss_queues, "Number of RSS Queues       : %s\n"),
    SETTING(flow_control, "Flow Control               : %s\n", Flag(kDirections)),
    SETTING(ipv4_checksum, "IPv4 Checksum Offload      : %s\n", Flag(kDirections)),
    SETTING(tcp_checksum_ipv4, "TCP Checksum Offload IPv4  : %s\n", Flag(kDirections)),
    SETTING(tcp_checksum_ipv6, "TCP Checksum Offload IPv6  : %s\n", Flag(kDirections)),
    SETTING(udp_checksum_ipv4, "UDP Checksum Offload IPv4  : %s\n", Flag(kDirections)),
    SETTING(udp_checksum_ipv6, "UDP Checksum Offload IPv6  : %s\n", Flag(kDirections)),
    SETTING(lso_v2_ipv4, "LSO v2 IPv4                : %s\n", kOnOff),
    SETTING(lso_v2_ipv6, "LSO v2 IPv6                : %s\n", kOnOff),
    SETTING(vmq, "VMQ                        : %s\n", kOnOff),
    SETTING(vmq_lookahead_split, "VMQLookaheadSplit          : %s\n", kOnOff),
    SETTING(vmq_vlan_filtering, "VMQVlanFiltering           : %s\n", kOnOff),
    SETTING(x4_nic_tcp_offload, "X4NicTCPOffload            : %s\n", kOnOff),
    SETTING(user_mode_nd, "UserMode ND                : %s\n", kOnOff),
    SETTING(network_direct, "NetworkDirect              : %s\n", kOnOff),
    SETTING(nd_interrupt_moderation, "ND Interrupt Moderation    : %s\n", kOnOff),
    SETTING(receive_coalescing_ipv4, "Rcv Segment Coalescing IPv4: %s\n", kOnOff),
    SETTING(receive_coalescing_ipv6, "Rcv Segment Coalescing IPv6: %s\n", kOnOff),
    SETTING(response_queue_size, "Response Queue Size        : %d\n"),
    SETTING(tx_queue_size, "Tx Queue Size              : %d\n"),
    SETTING(tx_offload_queue_size, "Tx Offload Queue Size      : %d\n"),
    SETTING(rx_offload_queue_size, "Rx Offload Queue Size      : %d\n"),
    SETTING(vlan_id, "VLAN ID                    : %s\n"),
    SETTING(jumbo_packet, "JumboPacket                : %s\n"),
    SHOWN(link_up, "Link State                 : %s\n", Switch("Not Available", "Not Available")),
};

constexpr Field kWindowsX3Lines[] = {
    SETTING(mtu, "MTU                        : %s\n"),
    SETTING(iscsi_function, "iSCSI function             : %s\n", kOnOff),
    SETTING(iwarp_function, "iWARP function             : %s\n", kOnOff),
    SETTING(ndis_function, "NDIS function              : %s\n", Flag(kNdisModes)),
    SETTING(queues, "Queues                     : %s\n"),
    SETTING(large_segment_offload, "Large Segment Offload      : %s\n", kOnOff),
    SETTING(performance_mode, "Performance Mode           : %s\n", Flag(kPerformanceModes)),
    SETTING(receive_side_scaling, "Receive Side Scaling(RSS)  : %s\n", kOnOff),
    SETTING(vlan_insertion, "VLAN Insertion             : %s\n", kOnOff),
    SETTING(vlan_id, "VLAN ID                    : %s\n"),
    SETTING(ipv6_checksum, "IPv6 Checksum              : %s\n", kOnOff),
    SETTING(tcp_offload, "TcpOffload                 : %s\n", kOnOff),
    SHOWN(link_up, "Link State                 : %s\n", Switch("NO", "Yes")),
    SETTING(tx_checksum, "Transmit Checksum Offload  : %s\n", kOnOff),
    SETTING(rx_checksum, "Receive Checksum Offload   : %s\n", kOnOff),
};

// clang-format on

#undef SHOWN
#undef SETTING

enum class Ports { kAll, kX4Style, kOlder, kKxgbe, kKxge };

/// Lines that are printed, in the order of the rows, for the ports of some agents.
struct PortBlock {
    OsSet systems;
    Ports ports;
    std::span<const Field> lines;
};

constexpr PortBlock kPortBlocks[] = {
    {{kMac}, Ports::kAll, kMacLines},
    {{kLinux, kEsx, kXen}, Ports::kAll, kEthtoolLines},
    {{kFreeBsd}, Ports::kAll, kFreeBsdLines},
    {{kFreeBsd}, Ports::kX4Style, kFreeBsdQueueLines},
    {{kFreeBsd}, Ports::kOlder, kFreeBsdQueueSetLines},
    {{kSolaris}, Ports::kAll, kSolarisLines},
    {{kSolaris}, Ports::kKxgbe, kSolarisX4Lines},
    {{kSolaris}, Ports::kKxge, kSolarisX3Lines},
    {{kWindows}, Ports::kAll, kWindowsLines},
    {{kWindows}, Ports::kX4Style, kWindowsX4Lines},
    {{kWindows}, Ports::kOlder, kWindowsX3Lines},
};

constexpr uint16_t kFixedSpeeds[] = {10, 100, 1000, 10000};  // Mb/s

/// One listing. Its two marks are never reset between ports, on purpose: a port may change how the
/// later ones of its listing print.
class PortListing {
  public:
    PortListing(ZwMgmt_interface& output, uint8_t agent_os) : session(output), os_type(agent_os) {}

    void Print(const _PortInformation& port) {
        const bool kxgbe = FixedText(port.name).find("kxgbe") != std::string_view::npos;
        if (os_type != kSolaris) PrintCommon(port);
        if (os_type == kFreeBsd) x4_style = kxgbe;
        for (const PortBlock& block : kPortBlocks) {
            if (block.systems.Has(os_type) && IsFor(block.ports, port, kxgbe)) {
                PrintLines(port, block.lines);
            }
        }
        session.PrintOutput("\n\n");
    }

  private:
    bool IsFor(Ports ports, const _PortInformation& port, bool kxgbe) const {
        switch (ports) {
            case Ports::kAll: return true;
            case Ports::kX4Style: return x4_style;
            case Ports::kOlder: return !x4_style;
            case Ports::kKxgbe: return kxgbe;
            case Ports::kKxge:
                return !kxgbe && FixedText(port.name).find("kxge") != std::string_view::npos;
        }
        return false;
    }

    void PrintLines(const _PortInformation& port, std::span<const Field> lines) {
        for (const Field& line : lines) PrintField(session, &port, line);
    }

    void PrintCommon(const _PortInformation& port) {
        PrintLines(port, kCommonLines);
        for (const char pause :
             {port.settings.tx_pause_frames[0], port.settings.rx_pause_frames[0]}) {
            if (pause != '0' && pause != '1') x4_style = true;
        }
        session.PrintOutput("Speed                      : ");
        switch (port.settings.speed_mode) {
            case 0: PrintFixedSpeed(port.settings); break;
            case 1: session.PrintOutput("Auto-Detect\n"); break;
            default: session.PrintOutput("Invalid\n"); break;
        }
    }

    void PrintFixedSpeed(const PortSettings& settings) {
        const uint16_t speed = settings.fixed_speed;
        if (std::ranges::find(kFixedSpeeds, speed) == std::end(kFixedSpeeds)) {
            session.PrintOutput("Unknown\n");
            shows_duplex = false;
            return;
        }
        session.PrintOutput("%u Mb/s\n", speed);
        if (!shows_duplex) return;
        const char* duplex = settings.duplex == 0   ? "Half"
                             : settings.duplex == 1 ? "Full"
                                                    : "Unknown";
        session.PrintOutput("Port Duplex                : %s\n", duplex);
    }

    ZwMgmt_interface& session;
    const uint8_t os_type;
    bool x4_style = false;
    bool shows_duplex = true;
};

/// Why a Solaris agent lists no ports.
struct NoPortsRow {
    uint32_t status;
    const char* text;
};

constexpr NoPortsRow kNoSolarisPorts[] = {
    {kNoPlumbedPorts,
     "\nERROR: No ports are available for given PCI location on Solaris ZM agent host\n\n"
     "NOTE:For a given X4 PCI location,\"korvane listports\" command may fail\n"
     "if all X4 ports are unplumbed in SOLARIS ZM agent host. You should plumb\n"
     "atleast one X4 port on solaris ZM agent host for the command success\n\n"},
    {kNoPorts, "ERROR: No ports to list at given PCI location...!\n\n"},
};

}  // namespace

void ZwMgmt_interface::GetKorvaneAdapterPortsResponse(const _PortInformation* ports,
                                                      _Message* message) {
    if (message->status != kSuccess) {
        for (const NoPortsRow& row : kNoSolarisPorts) {
            if (message->os_type == kSolaris && message->status == row.status) {
                PrintOutput("%s", row.text);
            }
        }
        PrintOutput("Command failed\n");
        return;
    }
    PortListing listing(*this, os_type);
    for (; ports != nullptr; ports = ports->next) listing.Print(*ports);
}
