/// Host networking: ping and trace route, with their results, and the MTU of an interface.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// Starts a ping or a trace route.
struct PingRequest {
    uint8_t target_kind;   ///< zwmgmt::PingTarget
    uint8_t packet_count;  ///< of a ping
    int64_t timeout_ms;    ///< of a ping: how long each packet is waited for
    uint8_t target[64];    ///< the address's bytes, or the name; zero-filled
};

/// The outcome of a ping.
struct _PingResponse {
    uint8_t sent;         ///< packets
    uint8_t received;     ///< packets; 0: the host was not reached
    uint64_t avg_rtt_ms;  ///< mean round trip, milliseconds
};

/// One hop of a trace route.
struct _NextHopRouter {
    uint8_t hop_kind;     ///< zwmgmt::HopKind
    uint8_t address[16];  ///< IPv4: the first 4 bytes
    uint64_t avg_rtt_ms;  ///< mean round trip, milliseconds
};

/// Sets the MTU of an interface.
struct MtuRequest {
    char interface_name[64];  ///< NUL-padded; empty: not given
    uint32_t mtu;             ///< bytes
};

#pragma pack(pop)

namespace zwmgmt {

inline constexpr uint32_t kHighestMtu = 655'355;  ///< bytes: the highest that is sent
inline constexpr uint32_t kHighestVlan = 4094;    ///< VLAN ids are 1 to this

/// What PingRequest::target holds.
enum PingTarget : uint8_t {
    kPingIpv4 = 1,    ///< 4 bytes
    kPingIpv6 = 2,    ///< 16 bytes
    kPingHost = 3,    ///< a host's name
    kPingDomain = 4,  ///< a domain's name
};

/// What a _NextHopRouter tells of.
enum HopKind : uint8_t {
    kHopReached = 1,   ///< the host itself: the last record
    kHopTimedOut = 2,  ///< nobody answered
    kHopRouter = 3,    ///< a router on the way
};

}  // namespace zwmgmt

static_assert(sizeof(PingRequest) == 74 && offsetof(PingRequest, timeout_ms) == 2 &&
              offsetof(PingRequest, target) == 10);
static_assert(sizeof(_PingResponse) == 10 && offsetof(_PingResponse, avg_rtt_ms) == 2);
static_assert(sizeof(_NextHopRouter) == 25 && offsetof(_NextHopRouter, avg_rtt_ms) == 17);
static_assert(sizeof(MtuRequest) == 68 && offsetof(MtuRequest, mtu) == 64);
