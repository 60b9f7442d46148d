/// What a package to install is for: words of "type", bits of FileTransferRecord::transfer_flags.
#pragma once

namespace zwmgmt {

/// The names of the type mask's bits, from bit 0; "" for a bit without one.
inline constexpr const char* kDriverTypeNames[] = {
    "nic",
    "vnic",
    "toe",
    "toe_ipv4",
    "team",
    "bonding",
    "iscsi",
    "iscsi_pdu_initiator",
    "iscsi_pdu_target",
    "ofed",
    "iwarp",
    "bypass",
    "nd",
    "vf",
    "ipv6",
    "fcoe_full_offload_initiator",
    "udp_offload",
    "wdtoe",
    "wdudp",
    "",
    "iwarp_wdudp_libs",
    "sniffer_filter",
    "sniffer_trace",
    "util_tools",
    "all",
};

}  // namespace zwmgmt
