/// One port of an adapter.
#pragma once

#include "records/capabilities.h"
#include "records/field.h"
#include "zwmgmt/records/port.h"

namespace zwmgmt {

inline constexpr const char* kDirections[] = {"Disabled", "Tx Enabled", "Rx Enabled",
                                              "Tx and Rx Enabled"};
inline constexpr const char* kRssProfiles[] = {"Closest Processor", "Closest Processor Static",
                                               "NUMA Scaling", "NUMA Scaling Static",
                                               "Conservative Scaling"};
inline constexpr const char* kNdisModes[] = {"Disabled", "NIC mode", "Offload mode"};
inline constexpr const char* kPerformanceModes[] = {"Compatibility", "Performance"};
inline constexpr const char* kSpeedModes[] = {"fixed", "auto"};
inline constexpr const char* kDuplexes[] = {"half", "full"};

#define PORT(member, ...) ZWMGMT_FIELD(_PortInformation, member, __VA_ARGS__)
#define SETTING(member, ...) ZWMGMT_FIELD(PortSettings, member, __VA_ARGS__)

inline constexpr auto kPortSettingFields = std::to_array<Field>({
    SETTING(mtu, Decimal("bytes")),
    SETTING(tx_checksum, kFlagSense),
    SETTING(rx_checksum, kFlagSense),
    SETTING(scatter_gather, kFlagSense),
    SETTING(tx_pause_frames, kFlagSense),
    SETTING(rx_pause_frames, kFlagSense),
    SETTING(nic_functionality, kFlagSense),
    SETTING(flow_control, OneOf(kDirections)),
    SETTING(ipv4_checksum, OneOf(kDirections)),
    SETTING(lso_v2_ipv4, kFlagSense),
    SETTING(lso_v2_ipv6, kFlagSense),
    SETTING(vmq, kFlagSense),
    SETTING(vmq_lookahead_split, kFlagSense),
    SETTING(vmq_vlan_filtering, kFlagSense),
    SETTING(tcp_checksum_ipv4, OneOf(kDirections)),
    SETTING(tcp_checksum_ipv6, OneOf(kDirections)),
    SETTING(udp_checksum_ipv4, OneOf(kDirections)),
    SETTING(udp_checksum_ipv6, OneOf(kDirections)),
    SETTING(rss_profile, OneOf(kRssProfiles)),
    SETTING(response_queue_size, Decimal("entries")),
    SETTING(tx_queue_size, Decimal("entries")),
    SETTING(tx_offload_queue_size, Decimal("entries")),
    SETTING(rx_offload_queue_size, Decimal("entries")),
    SETTING(x4_nic_tcp_offload, kFlagSense),
    SETTING(rss_queues, Decimal()),
    SETTING(network_direct, kFlagSense),
    SETTING(nd_interrupt_moderation, kFlagSense),
    SETTING(receive_coalescing_ipv4, kFlagSense),
    SETTING(receive_coalescing_ipv6, kFlagSense),
    SETTING(jumbo_packet, Decimal("bytes")),
    SETTING(user_mode_nd, kFlagSense),
    SETTING(tso, kFlagSense),
    SETTING(gso, kFlagSense),
    SETTING(message_level),
    SETTING(coalesce_rx_usecs, Plain("microseconds")),
    SETTING(speed_mode, OneOf(kSpeedModes)),
    SETTING(fixed_speed, Plain("Mb/s")),
    SETTING(duplex, OneOf(kDuplexes)),
    SETTING(ring_rx, Plain("entries")),
    SETTING(ring_rx_mini, Plain("entries")),
    SETTING(ring_rx_jumbo, Plain("entries")),
    SETTING(ring_tx, Plain("entries")),
    SETTING(pause_autonegotiation, kFlagSense),
    SETTING(tcp_offload, kFlagSense),
    SETTING(iscsi_function, kFlagSense),
    SETTING(iwarp_function, kFlagSense),
    SETTING(ndis_function, OneOf(kNdisModes)),
    SETTING(queues, Decimal()),
    SETTING(large_segment_offload, kFlagSense),
    SETTING(receive_side_scaling, kFlagSense),
    SETTING(vlan_insertion, kFlagSense),
    SETTING(vlan_id, Decimal()),
    SETTING(performance_mode, OneOf(kPerformanceModes)),
    SETTING(ipv6_checksum, kFlagSense),
    SETTING(nqsets),
    SETTING(holdoff_tmr_idx),
    SETTING(holdoff_pktc_idx),
    SETTING(nrxq),
    SETTING(first_rxq),
    SETTING(nofldrxq),
    SETTING(first_ofld_rxq),
    SETTING(qsize_rxq),
    SETTING(ntxq),
    SETTING(first_txq),
    SETTING(nofldtxq),
    SETTING(first_ofld_txq),
    SETTING(qsize_txq),
});

inline constexpr auto kPortOwnFields = std::to_array<Field>({
    PORT(port_instance),
    PORT(link_up, kFlagSense),
    PORT(adv_autoneg_cap, kFlagSense),
    PORT(adv_1000fdx_cap, kFlagSense),
    PORT(rx_pause, kFlagSense),
    PORT(tx_pause, kFlagSense),
    PORT(adv_10gfdx_cap, kFlagSense),
    PORT(adv_1000hdx_cap, kFlagSense),
    PORT(adv_100fdx_cap, kFlagSense),
    PORT(adv_100hdx_cap, kFlagSense),
    PORT(adv_10fdx_cap, kFlagSense),
    PORT(adv_10hdx_cap, kFlagSense),
    PORT(autoneg_cap, kFlagSense),
    PORT(pause_cap, kFlagSense),
    PORT(asym_pause_cap, kFlagSense),
    PORT(cap_1000fdx, kFlagSense),
    PORT(cap_1000hdx, kFlagSense),
    PORT(cap_100fdx, kFlagSense),
    PORT(cap_100hdx, kFlagSense),
    PORT(cap_10fdx, kFlagSense),
    PORT(cap_10hdx, kFlagSense),
    PORT(lp_autoneg_cap, kFlagSense),
    PORT(lp_pause_cap, kFlagSense),
    PORT(lp_asym_pause_cap, kFlagSense),
    PORT(lp_1000hdx_cap, kFlagSense),
    PORT(lp_1000fdx_cap, kFlagSense),
    PORT(lp_100fdx_cap, kFlagSense),
    PORT(lp_100hdx_cap, kFlagSense),
    PORT(lp_10fdx_cap, kFlagSense),
    PORT(lp_10hdx_cap, kFlagSense),
    PORT(link_autoneg, kFlagSense),
    PORT(accept_jumbo),
    PORT(hw_csum),
    PORT(hw_lso),
    PORT(solaris_lso),
    PORT(link_duplex),
    PORT(holdoff_timer_idx),
    PORT(solaris_holdoff_pktc_idx),
    PORT(coalesce),
    PORT(link_speed, Plain("Mb/s")),
    PORT(description),
    PORT(name),
    PORT(media_supported),
    PORT(media_type),
    PORT(wake_on),
    PORT(supported_wake_on),
    PORT(supported_link_modes),
    PORT(advertised_link_modes),
    PORT(supports_autonegotiation, kFlagSense),
    PORT(advertises_autonegotiation, kFlagSense),
    PORT(ring_max_rx, Plain("entries")),
    PORT(ring_max_rx_mini, Plain("entries")),
    PORT(ring_max_rx_jumbo, Plain("entries")),
    PORT(ring_max_tx, Plain("entries")),
    PORT(phy_address),
    PORT(transceiver),
    PORT(link_detected, kFlagSense),
});

inline constexpr auto kPortFields =
    WithPart(kPortOwnFields, offsetof(_PortInformation, settings), kPortSettingFields);

/// What agents are asked to set in other members than they report.
inline constexpr auto kPortOnlySetFields = std::to_array<Field>({
    SETTING(set_coalesce),
    SETTING(set_hw_lso),
    SETTING(set_rx_pause),
    SETTING(set_tx_pause),
    SETTING(set_holdoff_timer_idx),
    SETTING(set_holdoff_pktc_idx),
    SETTING(set_hw_csum),
    SETTING(set_accept_jumbo),
    SETTING(advertised_modes, kBitsSense),
});

inline constexpr auto kPortRequestFields =
    WithPart(WithPart(std::to_array<Field>({
                          ZWMGMT_FIELD(PortRequest, os_type, kOsSense),
                          ZWMGMT_FIELD(PortRequest, set_mask, kBitsSense),
                          ZWMGMT_FIELD(PortRequest, pci_bus_location),
                          ZWMGMT_FIELD(PortRequest, port_instance),
                      }),
                      offsetof(PortRequest, settings), kPortSettingFields),
             offsetof(PortRequest, settings), kPortOnlySetFields);

#undef PORT
#undef SETTING

}  // namespace zwmgmt
