/// What is asked of a host's networking, and what it finds.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/net.h"

namespace zwmgmt {

/// By PingTarget and HopKind.
inline constexpr const char* kTargetKinds[] = {"", "ipv4", "ipv6", "host name", "domain name"};
inline constexpr const char* kHopKinds[] = {"", "reached", "timed out", "router"};

inline constexpr Field kPingRequestFields[] = {
    ZWMGMT_FIELD(PingRequest, target_kind, FamilyOf(kTargetKinds)),
    ZWMGMT_FIELD(PingRequest, packet_count, Plain("packets")),
    ZWMGMT_FIELD(PingRequest, timeout_ms, Plain("milliseconds")),
    ZWMGMT_FIELD(PingRequest, target, kAddressSense),
};

inline constexpr Field kPingFields[] = {
    ZWMGMT_FIELD(_PingResponse, sent, Plain("packets")),
    ZWMGMT_FIELD(_PingResponse, received, Plain("packets")),
    ZWMGMT_FIELD(_PingResponse, avg_rtt_ms, Plain("milliseconds")),
};

inline constexpr Field kHopFields[] = {
    ZWMGMT_FIELD(_NextHopRouter, hop_kind, OneOf(kHopKinds)),
    ZWMGMT_FIELD(_NextHopRouter, address, kAddressSense),
    ZWMGMT_FIELD(_NextHopRouter, avg_rtt_ms, Plain("milliseconds")),
};

inline constexpr Field kMtuFields[] = {
    ZWMGMT_FIELD(MtuRequest, interface_name),
    ZWMGMT_FIELD(MtuRequest, mtu, Plain("bytes")),
};

}  // namespace zwmgmt
