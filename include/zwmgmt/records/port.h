/// One port of an adapter: a record of the reply to "korvane listports", and the requests about one
/// port.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// What an operator can set of a port: part of its record, and of the request that changes it.
/// Texts are NUL-padded and need not be terminated.
struct PortSettings {
    char mtu[8];          ///< bytes, as decimal text
    char tx_checksum[2];  ///< flags: '0', '1', ... and a terminator
    char rx_checksum[2];
    char scatter_gather[2];
    char tx_pause_frames[2];
    char rx_pause_frames[2];
    char nic_functionality[2];
    char flow_control[2];
    char ipv4_checksum[2];
    char lso_v2_ipv4[2];
    char lso_v2_ipv6[2];
    char vmq[2];
    char vmq_lookahead_split[2];
    char vmq_vlan_filtering[2];
    char tcp_checksum_ipv4[2];
    char tcp_checksum_ipv6[2];
    char udp_checksum_ipv4[2];
    char udp_checksum_ipv6[2];
    char rss_profile[4];
    char response_queue_size[8];  ///< entries, as decimal texts
    char tx_queue_size[8];
    char tx_offload_queue_size[8];
    char rx_offload_queue_size[8];
    char x4_nic_tcp_offload[2];  ///< flag
    char rss_queues[2];          ///< a number
    char network_direct[2];      ///< flags
    char nd_interrupt_moderation[2];
    char receive_coalescing_ipv4[2];
    char receive_coalescing_ipv6[2];
    char jumbo_packet[8];  ///< bytes, as decimal text
    char user_mode_nd[2];  ///< flag
    uint8_t reserved100[8];
    uint8_t set_coalesce;  ///< in requests to Solaris agents, which report in bytes of the record
    uint8_t set_hw_lso;
    uint8_t set_rx_pause;
    uint8_t set_tx_pause;
    uint8_t set_holdoff_timer_idx;
    uint8_t set_holdoff_pktc_idx;
    uint8_t set_hw_csum;
    uint8_t set_accept_jumbo;
    uint8_t tso;
    uint8_t gso;
    uint32_t message_level;
    uint32_t coalesce_rx_usecs;  ///< microseconds
    uint8_t speed_mode;          ///< 1: auto-detect, 0: fixed
    uint16_t fixed_speed;        ///< Mb/s
    uint8_t duplex;              ///< 0: half, 1: full
    uint32_t advertised_modes;   ///< bits; in requests only
    uint32_t ring_rx;            ///< entries
    uint32_t ring_rx_mini;
    uint32_t ring_rx_jumbo;
    uint32_t ring_tx;
    uint8_t pause_autonegotiation;
    uint8_t reserved151[4];
    char tcp_offload[2];  ///< flags
    char iscsi_function[2];
    char iwarp_function[2];
    char ndis_function[2];
    uint8_t reserved163[2];
    char queues[2];                 ///< a number
    char large_segment_offload[2];  ///< flags
    char receive_side_scaling[2];
    char vlan_insertion[2];
    char vlan_id[8];           ///< a decimal text
    char performance_mode[2];  ///< flags
    char ipv6_checksum[2];
    uint8_t reserved185[8];
    uint16_t nqsets;
    uint16_t holdoff_tmr_idx;
    uint16_t holdoff_pktc_idx;
    uint8_t nrxq;
    uint8_t first_rxq;
    uint8_t nofldrxq;
    uint8_t first_ofld_rxq;
    uint16_t qsize_rxq;
    uint8_t ntxq;
    uint8_t first_txq;
    uint8_t nofldtxq;
    uint8_t first_ofld_txq;
    uint16_t qsize_txq;
};

/// Filled by the agent; which fields it fills depends on its OS. Texts are NUL-padded and need not
/// be terminated: read them with zwmgmt::FixedText.
struct _PortInformation {
    uint8_t port_instance;
    uint8_t link_up;  ///< nonzero: up
    uint8_t reserved2[96];
    uint8_t adv_autoneg_cap;  ///< Solaris capability bytes: own, advertised and (lp_) the link
                              ///< partner's
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
    uint8_t accept_jumbo;
    uint8_t hw_csum;
    uint8_t hw_lso;
    uint8_t solaris_lso;
    uint8_t link_duplex;
    uint8_t holdoff_timer_idx;
    uint8_t solaris_holdoff_pktc_idx;
    uint8_t coalesce;
    uint8_t reserved135[4];
    uint32_t link_speed;  ///< Mb/s
    uint8_t reserved143[64];
    char description[146];
    char name[96];             ///< friendly name or interface name
    char media_supported[64];  ///< or supported ports
    char media_type[25];       ///< or port type
    char wake_on[25];
    char supported_wake_on[25];
    char supported_link_modes[255];
    char advertised_link_modes[255];
    uint8_t supports_autonegotiation;
    uint8_t advertises_autonegotiation;
    uint32_t ring_max_rx;  ///< entries
    uint32_t ring_max_rx_mini;
    uint32_t ring_max_rx_jumbo;
    uint32_t ring_max_tx;
    uint32_t phy_address;
    char transceiver[16];
    uint8_t link_detected;
    uint8_t reserved1137[29];
    PortSettings settings;
    uint8_t reserved1377[8];
    _PortInformation* next;  ///< null in the last one
};

/// The requests "korvane setportproperty" (the settings whose bit is in the mask get the values
/// given; what a bit means depends on agent OS and chip) and "korvane getportstats" (location and
/// instance alone).
struct PortRequest {
    uint8_t os_type;  ///< zwmgmt::AgentOs
    uint32_t set_mask;
    uint8_t reserved5[4];
    char pci_bus_location[16];
    uint32_t port_instance;
    PortSettings settings;
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
