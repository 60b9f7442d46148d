/// Host networking: ping and trace route, with their results, and the MTU of an interface.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// Starts a ping or a trace route.
struct PingRequest {
    uint8_t target_kind;   ///< zwmgmt::PingTarget
    uint8_t packet_count;  ///< ping only
    int64_t timeout_ms;    ///< ping only
    uint8_t target[64];    ///< the address's bytes, or the name; zero-filled
};

struct _PingResponse {
    uint8_t sent;
    uint8_t received;  ///< 0: the host was not reached
    uint64_t avg_rtt_ms;
};

/// One hop of a trace route.
struct _NextHopRouter {
    uint8_t hop_kind;     ///< zwmgmt::HopKind
    uint8_t address[16];  ///< IPv4: the first 4 bytes
    uint64_t avg_rtt_ms;
};

/// Sets the MTU of an interface.
struct MtuRequest {
    char interface_name[64];  ///< NUL-padded; empty: not given
    uint32_t mtu;             ///< bytes
};

#pragma pack(pop)

namespace zwmgmt {

inline constexpr uint32_t kHighestMtu = 655'355;  ///< bytes: the highest that is sent
inline constexpr uint32_t kHighestVlan = 4094;

enum PingTarget : uint8_t { kPingIpv4 = 1, kPingIpv6 = 2, kPingHost = 3, kPingDomain = 4 };
enum HopKind : uint8_t { kHopReached = 1, kHopTimedOut = 2, kHopRouter = 3 };

}  // namespace zwmgmt

static_assert(sizeof(PingRequest) == 74 && offsetof(PingRequest, timeout_ms) == 2 &&
              offsetof(PingRequest, target) == 10);
static_assert(sizeof(_PingResponse) == 10 && offsetof(_PingResponse, avg_rtt_ms) == 2);
static_assert(sizeof(_NextHopRouter) == 25 && offsetof(_NextHopRouter, avg_rtt_ms) == 17);
static_assert(sizeof(MtuRequest) == 68 && offsetof(MtuRequest, mtu) == 64);
