/// The printer of "korvane listports". Which lines a port gets follows from the agent's OS, the
/// port's name and marks that an earlier port of the same listing may have set.
#include <algorithm>
#include <span>

#include "adapters/results.h"
#include "output/layout.h"
#include "records/port.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr const char* kDisabledEnabled[] = {"Disabled", "Enabled"};
constexpr Wording kOnOff = Flag(kDisabledEnabled);

/// A row: a field and its line.
#define PORT(name, ...) MakeLine(FieldNamed(kPortFields, #name), __VA_ARGS__)

// clang-format off
constexpr Line kCommonLines[] = {
    PORT(port_instance, "Port Instance              : %d\n"),
    PORT(name, "Friendly Name              : %s\n"),
    PORT(tx_pause_frames, "Tx pause frame support     : %s\n", kOnOff),
    PORT(rx_pause_frames, "Rx pause frame support     : %s\n", kOnOff),
    PORT(speed_mode, nullptr),
    PORT(fixed_speed, nullptr),
    PORT(duplex, nullptr),
};

constexpr Line kMacLines[] = {
    PORT(tso, "TCP Segmentation offload   : %s\n", Switch("Disabled", "Enabled")),
    PORT(media_type, "Media Type                  : %s\n"),
    PORT(media_supported, "Media  Supported             : %s\n"),
    PORT(link_detected, "Link detected              : %s\n", Switch("No", "Yes")),
};

constexpr Line kEthtoolLines[] = {
    PORT(mtu, "MTU                        : %s\n"),
    PORT(rx_checksum, "Rx Checksum support\t   : %s\n", kOnOff),
    PORT(tx_checksum, "Tx Checksum support\t   : %s\n", kOnOff),
    PORT(pause_autonegotiation, "Pause Autonegotiation      : %s\n", Switch("Off", "On")),
    PORT(name, "Interface Name             : %s\n"),
    PORT(media_supported, "Supported Ports            : %s\n"),
    PORT(media_type, "Port Type                  : %s\n"),
    PORT(speed_mode, "Auto-negotiation\t   : %s\n", Switch("Off", "On")),
    PORT(supports_autonegotiation, "Supports Auto-negotiation  : %s\n", Switch("No", "Yes")),
    PORT(advertises_autonegotiation, "Advertised Auto-negotiation: %s\n", Switch("No", "Yes")),
    PORT(supported_wake_on, "Supports Wake-On           : %s\n"),
    PORT(wake_on, "Wake On                    : %s\n"),
    PORT(supported_link_modes, "Supported Link Modes       : %s\n"),
    PORT(advertised_link_modes, "Advertized Link Modes      : %s\n"),
    PORT(phy_address, "Phy_Ad                     : %d\n"),
    PORT(transceiver, "Transceiver                : %s\n"),
    PORT(message_level, "Message Level              : 0x%x\n"),
    PORT(link_detected, "Link detected              : %s\n", Switch("No", "Yes")),
    PORT(ring_max_rx, "Ring_max_rx                : %d\n"),
    PORT(ring_max_rx_mini, "Ring_max_rx_mini           : %d\n"),
    PORT(ring_max_rx_jumbo, "Ring_max_rx_jumbo          : %d\n"),
    PORT(ring_max_tx, "Ring_max_tx                : %d\n"),
    PORT(ring_rx, "Ring_rx                    : %d\n"),
    PORT(ring_rx_mini, "Ring_rx_mini               : %d\n"),
    PORT(ring_rx_jumbo, "Ring_rx_jumbo              : %d\n"),
    PORT(ring_tx, "Ring_tx                    : %d\n"),
    PORT(coalesce_rx_usecs, "Coalesce rx_usecs          : %u\n"),
    PORT(scatter_gather, "Scatter-gather             : %s\n", kOnOff),
    PORT(tso, "TCP Segmentation offload   : %s\n", Switch("Disabled", "Enabled")),
    PORT(gso, "Generic Segmentation offload         : %s\n", Switch("Disabled", "Enabled")),
};

constexpr Line kFreeBsdLines[] = {
    PORT(mtu, "MTU                        : %s\n"),
    PORT(rx_checksum, "Rx Checksum support\t   : %s\n", kOnOff),
    PORT(tx_checksum, "Tx Checksum support\t   : %s\n", kOnOff),
    PORT(name, "Interface Name             : %s\n"),
    PORT(supported_wake_on, "Supports Wake-On           : %s\n"),
    PORT(wake_on, "Wake On                    : %s\n"),
    PORT(link_detected, "Link detected              : %s\n", Switch("No", "Yes")),
    PORT(tso, "TCP Segmentation offload   : %s\n", Switch("Disabled", "Enabled")),
};

constexpr Line kFreeBsdQueueLines[] = {
    PORT(holdoff_tmr_idx, "holdoff_tmr_idx\t\t   : %u\n"),
    PORT(holdoff_pktc_idx, "holdoff_pktc_idx\t   : %u\n"),
    PORT(nrxq, "nrxq\t\t\t   : %u\n"),
    PORT(first_rxq, "first_rxq\t\t   : %u\n"),
    PORT(nofldrxq, "nofldrxq\t\t   : %u\n"),
    PORT(first_ofld_rxq, "first_ofld_rxq\t\t   : %u\n"),
    PORT(qsize_rxq, "qsize_rxq\t\t   : %u\n"),
    PORT(ntxq, "ntxq\t\t\t   : %u\n"),
    PORT(first_txq, "first_txq\t\t   : %u\n"),
    PORT(nofldtxq, "nofldtxq\t\t   : %u\n"),
    PORT(first_ofld_txq, "first_ofld_txq\t\t   : %u\n"),
    PORT(qsize_txq, "qsize_txq\t\t   : %u\n"),
};

constexpr Line kFreeBsdQueueSetLines[] = {
    PORT(nqsets, "nqsets\t\t\t   : %u\n"),
};

constexpr Line kSolarisLines[] = {
    PORT(port_instance, "Port Instance\t\t\t:%d\n"),
    PORT(name, "Interface Name\t\t\t:%s\n"),
};

constexpr Line kSolarisX4Lines[] = {
    PORT(mtu, "MTU\t\t\t\t:%s\n"),
    PORT(adv_autoneg_cap, "adv_autoneg_cap\t\t\t:%d\n"),
    PORT(adv_1000fdx_cap, "adv_1000fdx_cap\t\t\t:%d\n"),
    PORT(adv_10gfdx_cap, "adv_10gfdx_cap\t\t\t:%d\n"),
    PORT(adv_1000hdx_cap, "adv_1000hdx_cap\t\t\t:%d\n"),
    PORT(adv_100fdx_cap, "adv_100fdx_cap\t\t\t:%d\n"),
    PORT(adv_100hdx_cap, "adv_100hdx_cap\t\t\t:%d\n"),
    PORT(adv_10fdx_cap, "adv_10fdx_cap\t\t\t:%d\n"),
    PORT(adv_10hdx_cap, "adv_10hdx_cap\t\t\t:%d\n"),
    PORT(link_up, "link_status\t\t\t:%s\n", Switch("Down", "Up")),
    PORT(link_speed, "link_speed\t\t\t:%d Mbps\n"),
    PORT(link_duplex, "link_duplex\t\t\t:%d\n"),
    PORT(autoneg_cap, "autoneg_cap\t\t\t:%d\n"),
    PORT(pause_cap, "pause_cap\t\t\t:%d\n"),
    PORT(asym_pause_cap, "asym_pause_cap\t\t\t:%d\n"),
    PORT(cap_1000fdx, "1000fdx_cap\t\t\t:%d\n"),
    PORT(cap_1000hdx, "1000hdx_cap\t\t\t:%d\n"),
    PORT(cap_100fdx, "100fdx_cap\t\t\t:%d\n"),
    PORT(cap_100hdx, "100hdx_cap\t\t\t:%d\n"),
    PORT(cap_10fdx, "10fdx_cap\t\t\t:%d\n"),
    PORT(cap_10hdx, "10hdx_cap\t\t\t:%d\n"),
    PORT(lp_autoneg_cap, "lp_autoneg_cap\t\t\t:%d\n"),
    PORT(lp_pause_cap, "lp_pause_cap\t\t\t:%d\n"),
    PORT(lp_asym_pause_cap, "lp_asym_pause_cap\t\t:%d\n"),
    PORT(lp_1000hdx_cap, "lp_1000hdx_cap\t\t\t:%d\n"),
    PORT(lp_1000fdx_cap, "lp_1000fdx_cap\t\t\t:%d\n"),
    PORT(lp_100fdx_cap, "lp_100fdx_cap\t\t\t:%d\n"),
    PORT(lp_100hdx_cap, "lp_100hdx_cap\t\t\t:%d\n"),
    PORT(lp_10fdx_cap, "lp_10fdx_cap\t\t\t:%d\n"),
    PORT(lp_10hdx_cap, "lp_10hdx_cap\t\t\t:%d\n"),
    PORT(link_autoneg, "link_autoneg\t\t\t:%d\n"),
    PORT(holdoff_timer_idx, "holdoff_timer_idx\t\t:%d\n"),
    PORT(solaris_holdoff_pktc_idx, "holdoff_pktc_idx\t\t:%d\n"),
    PORT(hw_csum, "hw-csum\t\t\t\t:%d\n"),
    PORT(hw_lso, "hw-lso\t\t\t\t:%d\n"),
    PORT(tx_pause, "tx_pause\t\t\t:%d\n"),
    PORT(rx_pause, "rx_pause\t\t\t:%d\n"),
};

constexpr Line kSolarisX3Lines[] = {
    PORT(accept_jumbo, "accept-jumbo\t\t\t:%d\n"),
    PORT(hw_csum, "hw-csum\t\t\t\t:%d\n"),
    PORT(solaris_lso, "lso\t\t\t\t:%d\n"),
    PORT(tx_pause, "tx_pause\t\t\t:%d\n"),
    PORT(rx_pause, "rx_pause\t\t\t:%d\n"),
    PORT(coalesce, "coalesce\t\t\t:%d\n"),
    PORT(link_up, "Link\t\t\t\t:%s\n", Switch("Down", "Up")),
    PORT(link_speed, "link_speed\t\t\t:%d Mbps\n"),
    PORT(link_duplex, "link_duplex\t\t\t:%d\n"),
    PORT(autoneg_cap, "autoneg_cap\t\t\t:%d\n"),
};

constexpr Line kWindowsLines[] = {
    PORT(description, "Description                : %s\n"),
};

constexpr Line kWindowsX4Lines[] = {
    PORT(nic_functionality, "NIC Functionality          : %s\n", kOnOff),
    PORT(receive_side_scaling, "Receive Side Scaling(RSS)  : %s\n", kOnOff),
    PORT(rss_profile, "RSS Profile                : %s\n", Flag(kRssProfiles)),
    PORT(rss_queues, "Number of RSS Queues       : %s\n"),
    PORT(flow_control, "Flow Control               : %s\n", Flag(kDirections)),
    PORT(ipv4_checksum, "IPv4 Checksum Offload      : %s\n", Flag(kDirections)),
    PORT(tcp_checksum_ipv4, "TCP Checksum Offload IPv4  : %s\n", Flag(kDirections)),
    PORT(tcp_checksum_ipv6, "TCP Checksum Offload IPv6  : %s\n", Flag(kDirections)),
    PORT(udp_checksum_ipv4, "UDP Checksum Offload IPv4  : %s\n", Flag(kDirections)),
    PORT(udp_checksum_ipv6, "UDP Checksum Offload IPv6  : %s\n", Flag(kDirections)),
    PORT(lso_v2_ipv4, "LSO v2 IPv4                : %s\n", kOnOff),
    PORT(lso_v2_ipv6, "LSO v2 IPv6                : %s\n", kOnOff),
    PORT(vmq, "VMQ                        : %s\n", kOnOff),
    PORT(vmq_lookahead_split, "VMQLookaheadSplit          : %s\n", kOnOff),
    PORT(vmq_vlan_filtering, "VMQVlanFiltering           : %s\n", kOnOff),
    PORT(x4_nic_tcp_offload, "X4NicTCPOffload            : %s\n", kOnOff),
    PORT(user_mode_nd, "UserMode ND                : %s\n", kOnOff),
    PORT(network_direct, "NetworkDirect              : %s\n", kOnOff),
    PORT(nd_interrupt_moderation, "ND Interrupt Moderation    : %s\n", kOnOff),
    PORT(receive_coalescing_ipv4, "Rcv Segment Coalescing IPv4: %s\n", kOnOff),
    PORT(receive_coalescing_ipv6, "Rcv Segment Coalescing IPv6: %s\n", kOnOff),
    PORT(response_queue_size, "Response Queue Size        : %d\n"),
    PORT(tx_queue_size, "Tx Queue Size              : %d\n"),
    PORT(tx_offload_queue_size, "Tx Offload Queue Size      : %d\n"),
    PORT(rx_offload_queue_size, "Rx Offload Queue Size      : %d\n"),
    PORT(vlan_id, "VLAN ID                    : %s\n"),
    PORT(jumbo_packet, "JumboPacket                : %s\n"),
    PORT(link_up, "Link State                 : %s\n", Switch("Not Available", "Not Available")),
};

constexpr Line kWindowsX3Lines[] = {
    PORT(mtu, "MTU                        : %s\n"),
    PORT(iscsi_function, "iSCSI function             : %s\n", kOnOff),
    PORT(iwarp_function, "iWARP function             : %s\n", kOnOff),
    PORT(ndis_function, "NDIS function              : %s\n", Flag(kNdisModes)),
    PORT(queues, "Queues                     : %s\n"),
    PORT(large_segment_offload, "Large Segment Offload      : %s\n", kOnOff),
    PORT(performance_mode, "Performance Mode           : %s\n", Flag(kPerformanceModes)),
    PORT(receive_side_scaling, "Receive Side Scaling(RSS)  : %s\n", kOnOff),
    PORT(vlan_insertion, "VLAN Insertion             : %s\n", kOnOff),
    PORT(vlan_id, "VLAN ID                    : %s\n"),
    PORT(ipv6_checksum, "IPv6 Checksum              : %s\n", kOnOff),
    PORT(tcp_offload, "TcpOffload                 : %s\n", kOnOff),
    PORT(link_up, "Link State                 : %s\n", Switch("NO", "Yes")),
    PORT(tx_checksum, "Transmit Checksum Offload  : %s\n", kOnOff),
    PORT(rx_checksum, "Receive Checksum Offload   : %s\n", kOnOff),
};

// clang-format on

#undef PORT

enum PortVariant : uint8_t { kEveryPort, kX4Style, kOlder, kKxgbe, kKxge, kOtherPort };

constexpr Block kPortBlocks[] = {
    {OsSet::AllBut(kSolaris), kEveryPort, kCommonLines},
    {{kMac}, kEveryPort, kMacLines},
    {{kLinux, kEsx, kXen}, kEveryPort, kEthtoolLines},
    {{kFreeBsd}, kEveryPort, kFreeBsdLines},
    {{kFreeBsd}, kX4Style, kFreeBsdQueueLines},
    {{kFreeBsd}, kOlder, kFreeBsdQueueSetLines},
    {{kSolaris}, kEveryPort, kSolarisLines},
    {{kSolaris}, kKxgbe, kSolarisX4Lines},
    {{kSolaris}, kKxge, kSolarisX3Lines},
    {{kWindows}, kEveryPort, kWindowsLines},
    {{kWindows}, kX4Style, kWindowsX4Lines},
    {{kWindows}, kOlder, kWindowsX3Lines},
};

bool Names(const _PortInformation& port, std::string_view driver) {
    return FixedText(port.name).find(driver) != std::string_view::npos;
}

/// A pause flag that is neither off nor on marks the ports of newer adapters.
bool HasX4Pause(const PortSettings& settings) {
    const auto plain = [](char flag) { return flag == '0' || flag == '1'; };
    return !plain(settings.tx_pause_frames[0]) || !plain(settings.rx_pause_frames[0]);
}

uint8_t VariantOf(const void* record, uint8_t os) {
    const auto& port = *static_cast<const _PortInformation*>(record);
    if (os == kSolaris) {
        return Names(port, "kxgbe") ? kKxgbe : Names(port, "kxge") ? kKxge : kOtherPort;
    }
    const bool x4_style = os == kFreeBsd ? Names(port, "kxgbe") : HasX4Pause(port.settings);
    return x4_style ? kX4Style : kOlder;
}

constexpr uint16_t kFixedSpeeds[] = {10, 100, 1000, 10000};  // Mb/s

/// One listing. Its two marks are never reset between ports, on purpose: a port may change how the
/// later ones of its listing print.
class PortListing {
  public:
    PortListing(ZwMgmt_interface& output, uint8_t agent_os) : session(output), os_type(agent_os) {}

    void Print(const _PortInformation& port) {
        const uint8_t variant = Marked(port);
        for (const Block& block : kPortBlocks) {
            if (!block.IsFor(os_type, variant)) continue;
            for (const Line& line : block.lines) PrintLine(session, &port, line);
            if (block.lines.data() == kCommonLines) PrintSpeed(port.settings);
        }
        session.PrintOutput("\n\n");
    }

  private:
    /// What the port is printed as, given the ports before it.
    uint8_t Marked(const _PortInformation& port) {
        const uint8_t own = VariantOf(&port, os_type);
        if (os_type == kSolaris) return own;
        x4_style = own == kX4Style || (x4_style && os_type != kFreeBsd);
        return x4_style ? kX4Style : kOlder;
    }

    void PrintSpeed(const PortSettings& settings) {
        session.PrintOutput("Speed                      : ");
        switch (settings.speed_mode) {
            case 0: PrintFixedSpeed(settings); break;
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

constexpr const Field* kColumns[] = {
    FieldNamed(kPortFields, "port_instance"), FieldNamed(kPortFields, "name"),
    FieldNamed(kPortFields, "link_up"),       FieldNamed(kPortFields, "link_detected"),
    FieldNamed(kPortFields, "link_speed"),    FieldNamed(kPortFields, "speed_mode"),
    FieldNamed(kPortFields, "mtu"),           FieldNamed(kPortFields, "media_type")};

}  // namespace

const Description zwmgmt::kPorts = {.name = "port",
                                    .shape = Description::kList,
                                    .size = offsetof(_PortInformation, next),
                                    .fields = kPortFields,
                                    .blocks = kPortBlocks,
                                    .variant_of = VariantOf,
                                    .columns = kColumns};

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
    PortListing listing(*this, OsType());
    for (; ports != nullptr; ports = ports->next) listing.Print(*ports);
}
