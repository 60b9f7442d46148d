/// What an agent says it can do: the reply to "system getcapabilities".
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// In the 16-bit service words 0 means that the service is absent, and bit 0 that this client
/// cannot use an older agent's version of it; bypass and bonding count the other way round
/// (nonzero: not available).
struct Capabilities {
    uint8_t api_version;  ///< high four bits major, low four bits minor
    uint8_t os_code;      ///< zwmgmt::AgentOs
    uint8_t reserved2;
    uint16_t network;  ///< service net
    uint16_t teaming;  ///< service team
    uint16_t iscsi;    ///< services iscsi and foiscsiini; bit 0x80: full-offload iSCSI initiator
    uint16_t adapter;  ///< service korvane
    uint16_t system;   ///< service system
    uint16_t filter;   ///< service filter
    uint16_t traffic_management;  ///< service tm
    uint16_t fcoe;                ///< service fcoe
    uint16_t log;                 ///< service log
    uint16_t iwarp;               ///< service iwarp
    uint16_t reserved23;
    uint16_t bypass;   ///< service bypass; nonzero: not available
    uint16_t bonding;  ///< service bonding; nonzero: not available
    uint8_t reserved29[4];
};

#pragma pack(pop)

static_assert(sizeof(Capabilities) == 33 && offsetof(Capabilities, network) == 3 &&
              offsetof(Capabilities, iwarp) == 21 && offsetof(Capabilities, bypass) == 25 &&
              offsetof(Capabilities, reserved29) == 29);

namespace zwmgmt {

/// The interface version of this client, 2.0, in the form of Capabilities::api_version.
inline constexpr uint8_t kClientApiVersion = 0x20;

}  // namespace zwmgmt
