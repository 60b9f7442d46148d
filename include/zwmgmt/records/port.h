/// One port of an adapter: a record of the reply to "korvane listports", and the requests about one
/// port.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// What an operator can set of a port: part of its record, and of the request that changes it.
/// "korvane_zwcli help korvane setportproperty" tells which agents take what, docs/formats.md which
/// fill what. Texts are NUL-padded and need not be terminated; flags in texts are '0' or '1' and a
/// terminator, others 0 or 1; directions are '0' none, '1' transmit, '2' receive, '3' both.
struct PortSettings {
    char mtu[8];                  ///< bytes, as decimal text
    char tx_checksum[2];          ///< flag: offloaded
    char rx_checksum[2];          ///< flag: offloaded
    char scatter_gather[2];       ///< flag
    char tx_pause_frames[2];      ///< flag
    char rx_pause_frames[2];      ///< flag
    char nic_functionality[2];    ///< flag
    char flow_control[2];         ///< direction
    char ipv4_checksum[2];        ///< direction: offloaded
    char lso_v2_ipv4[2];          ///< flag: large send offload
    char lso_v2_ipv6[2];          ///< flag: large send offload
    char vmq[2];                  ///< flag: virtual machine queues
    char vmq_lookahead_split[2];  ///< flag
    char vmq_vlan_filtering[2];   ///< flag
    char tcp_checksum_ipv4[2];    ///< direction: offloaded
    char tcp_checksum_ipv6[2];    ///< direction: offloaded
    char udp_checksum_ipv4[2];    ///< direction: offloaded
    char udp_checksum_ipv6[2];    ///< direction: offloaded
    char rss_profile[4];  ///< 0 closest, 1 closest static, 2 NUMA, 3 NUMA static, 4 conservative
    char response_queue_size[8];      ///< entries, as decimal text
    char tx_queue_size[8];            ///< entries, as decimal text
    char tx_offload_queue_size[8];    ///< entries, as decimal text
    char rx_offload_queue_size[8];    ///< entries, as decimal text
    char x4_nic_tcp_offload[2];       ///< flag
    char rss_queues[2];               ///< how many, as decimal text
    char network_direct[2];           ///< flag
    char nd_interrupt_moderation[2];  ///< flag: of network direct
    char receive_coalescing_ipv4[2];  ///< flag
    char receive_coalescing_ipv6[2];  ///< flag
    char jumbo_packet[8];             ///< bytes, as decimal text
    char user_mode_nd[2];             ///< flag: network direct
    uint8_t reserved100[8];
    uint8_t set_coalesce;           ///< 1 to 250; these go to Solaris agents alone
    uint8_t set_hw_lso;             ///< flag
    uint8_t set_rx_pause;           ///< flag
    uint8_t set_tx_pause;           ///< flag
    uint8_t set_holdoff_timer_idx;  ///< 0 to 5
    uint8_t set_holdoff_pktc_idx;   ///< 0 to 3
    uint8_t set_hw_csum;            ///< flag
    uint8_t set_accept_jumbo;       ///< flag
    uint8_t tso;                    ///< flag: TCP segmentation offload
    uint8_t gso;                    ///< flag: generic segmentation offload
    uint32_t message_level;         ///< bits of the driver's messages
    uint32_t coalesce_rx_usecs;     ///< microseconds
    uint8_t speed_mode;             ///< 1: auto-detect, 0: fixed
    uint16_t fixed_speed;           ///< Mb/s
    uint8_t duplex;                 ///< 0: half, 1: full
    uint32_t advertised_modes;      ///< bits of link modes; in requests only
    uint32_t ring_rx;               ///< entries
    uint32_t ring_rx_mini;          ///< entries
    uint32_t ring_rx_jumbo;         ///< entries
    uint32_t ring_tx;               ///< entries
    uint8_t pause_autonegotiation;  ///< flag
    uint8_t reserved151[4];
    char tcp_offload[2];     ///< flag
    char iscsi_function[2];  ///< flag
    char iwarp_function[2];  ///< flag
    char ndis_function[2];   ///< '0' disabled, '1' NIC, '2' offload
    uint8_t reserved163[2];
    char queues[2];                 ///< how many, as decimal text
    char large_segment_offload[2];  ///< flag
    char receive_side_scaling[2];   ///< flag
    char vlan_insertion[2];         ///< flag
    char vlan_id[8];                ///< 0 to 4094, as decimal text
    char performance_mode[2];       ///< '0' compatibility, '1' performance
    char ipv6_checksum[2];          ///< flag: offloaded
    uint8_t reserved185[8];
    uint16_t nqsets;            ///< queue sets; from here on FreeBSD agents
    uint16_t holdoff_tmr_idx;   ///< index of a timer
    uint16_t holdoff_pktc_idx;  ///< index of a packet count
    uint8_t nrxq;               ///< receive queues
    uint8_t first_rxq;          ///< the first one's number
    uint8_t nofldrxq;           ///< receive queues for offload
    uint8_t first_ofld_rxq;     ///< the first one's number
    uint16_t qsize_rxq;         ///< entries
    uint8_t ntxq;               ///< transmit queues
    uint8_t first_txq;          ///< the first one's number
    uint8_t nofldtxq;           ///< transmit queues for offload
    uint8_t first_ofld_txq;     ///< the first one's number
    uint16_t qsize_txq;         ///< entries
};

/// Filled by the agent; which fields it fills depends on its OS. Texts are NUL-padded and need not
/// be terminated: read them with zwmgmt::FixedText.
struct _PortInformation {
    uint8_t port_instance;  ///< what port= of other requests takes
    uint8_t link_up;        ///< nonzero: up; Windows and Solaris agents
    uint8_t reserved2[96];

    /// Flags of Solaris agents: what the port can do (cap), advertises (adv_), and its link partner
    /// advertises (lp_); speeds in Mb/s, fdx full and hdx half duplex.
    uint8_t adv_autoneg_cap;
    uint8_t adv_1000fdx_cap;
    uint8_t rx_pause;
    uint8_t tx_pause;
    uint8_t adv_10gfdx_cap;
    uint8_t adv_1000hdx_cap;
    uint8_t adv_100fdx_cap;
    uint8_t adv_100hdx_cap;
    uint8_t adv_10fdx_cap;
    uint8_t adv_10hdx_cap;
    uint8_t autoneg_cap;
    uint8_t pause_cap;
    uint8_t asym_pause_cap;
    uint8_t cap_1000fdx;
    uint8_t cap_1000hdx;
    uint8_t cap_100fdx;
    uint8_t cap_100hdx;
    uint8_t cap_10fdx;
    uint8_t cap_10hdx;
    uint8_t lp_autoneg_cap;
    uint8_t lp_pause_cap;
    uint8_t lp_asym_pause_cap;
    uint8_t lp_1000hdx_cap;
    uint8_t lp_1000fdx_cap;
    uint8_t lp_100fdx_cap;
    uint8_t lp_100hdx_cap;
    uint8_t lp_10fdx_cap;
    uint8_t lp_10hdx_cap;
    uint8_t link_autoneg;

    uint8_t accept_jumbo;              ///< what set_accept_jumbo sets; these too of Solaris agents
    uint8_t hw_csum;                   ///< what set_hw_csum sets
    uint8_t hw_lso;                    ///< what set_hw_lso sets
    uint8_t solaris_lso;               ///< the kernel's number
    uint8_t link_duplex;               ///< the kernel's number
    uint8_t holdoff_timer_idx;         ///< what set_holdoff_timer_idx sets
    uint8_t solaris_holdoff_pktc_idx;  ///< what set_holdoff_pktc_idx sets
    uint8_t coalesce;                  ///< what set_coalesce sets
    uint8_t reserved135[4];
    uint32_t link_speed;  ///< Mb/s
    uint8_t reserved143[64];
    char description[146];               ///< Windows agents
    char name[96];                       ///< friendly name or interface name
    char media_supported[64];            ///< or supported ports
    char media_type[25];                 ///< or port type
    char wake_on[25];                    ///< what wakes the host, as letters
    char supported_wake_on[25];          ///< what could
    char supported_link_modes[255];      ///< in the agent's words
    char advertised_link_modes[255];     ///< in the agent's words
    uint8_t supports_autonegotiation;    ///< flag
    uint8_t advertises_autonegotiation;  ///< flag
    uint32_t ring_max_rx;                ///< entries: the most that PortSettings::ring_rx takes
    uint32_t ring_max_rx_mini;           ///< entries
    uint32_t ring_max_rx_jumbo;          ///< entries
    uint32_t ring_max_tx;                ///< entries
    uint32_t phy_address;                ///< a number
    char transceiver[16];                ///< in the agent's words
    uint8_t link_detected;               ///< flag
    uint8_t reserved1137[29];
    PortSettings settings;  ///< their present values
    uint8_t reserved1377[8];
    _PortInformation* next;  ///< null in the last one
};

/// The requests "korvane setportproperty" (the settings whose bit is in the mask get the values
/// given; what a bit means depends on agent OS and chip) and "korvane getportstats" (location and
/// instance alone).
struct PortRequest {
    uint8_t os_type;    ///< the agent's: zwmgmt::AgentOs
    uint32_t set_mask;  ///< a bit for each setting that is to change
    uint8_t reserved5[4];
    char pci_bus_location[16];  ///< of the adapter; NUL-padded
    uint32_t port_instance;     ///< as in _PortInformation
    PortSettings settings;      ///< zero but for those of the mask
};

#pragma pack(pop)

static_assert(sizeof(PortSettings) == 211 && offsetof(PortSettings, tx_checksum) == 8 &&
              offsetof(PortSettings, rss_profile) == 42 &&
              offsetof(PortSettings, response_queue_size) == 46 &&
              offsetof(PortSettings, jumbo_packet) == 90 &&
              offsetof(PortSettings, set_coalesce) == 108 && offsetof(PortSettings, tso) == 116 &&
              offsetof(PortSettings, advertised_modes) == 130 &&
              offsetof(PortSettings, tcp_offload) == 155 && offsetof(PortSettings, queues) == 165 &&
              offsetof(PortSettings, nqsets) == 193 && offsetof(PortSettings, qsize_txq) == 209);
static_assert(sizeof(_PortInformation) == 1393 && offsetof(_PortInformation, next) == 1385);
static_assert(offsetof(_PortInformation, adv_autoneg_cap) == 98 &&
              offsetof(_PortInformation, link_speed) == 139 &&
              offsetof(_PortInformation, description) == 207 &&
              offsetof(_PortInformation, phy_address) == 1116 &&
              offsetof(_PortInformation, settings) == 1166);
static_assert(sizeof(PortRequest) == 240 && offsetof(PortRequest, set_mask) == 1 &&
              offsetof(PortRequest, pci_bus_location) == 9 &&
              offsetof(PortRequest, port_instance) == 25 && offsetof(PortRequest, settings) == 29);
