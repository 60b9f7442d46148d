/// Text and bytes of IP addresses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zwmgmt::platform {

enum class Family { kIpv4, kIpv6 };

/// Bytes of an address: 4 or 16.
constexpr size_t AddressSize(Family family) { return family == Family::kIpv4 ? 4 : 16; }

/// Writes AddressSize(family) bytes; false when the text is no address of the family.
bool ParseAddress(Family family, const char* text, uint8_t* bytes);

/// Writes the text, terminated; 16 characters are enough for IPv4, 46 for IPv6.
bool FormatAddress(Family family, const uint8_t* bytes, char* text, size_t capacity);

/// Where a machine is reached.
struct Address {
    Family family = Family::kIpv4;
    uint8_t bytes[16] = {};  // IPv4: the first 4
    uint32_t zone = 0;       // number of the interface that leads to an IPv6 address; 0: any

    bool operator==(const Address&) const = default;
    /// Whether it means nothing without an interface.
    bool IsLinkLocal() const {
        return family == Family::kIpv6 && bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80;
    }
};

/// What counts as one where hosts are counted: of IPv6 addresses the network (/64), as a host has
/// as many addresses as it likes there.
Address NetworkOf(const Address& address);

inline constexpr Address kIpv4Loopback = {.bytes = {127, 0, 0, 1}};
inline constexpr Address kIpv6Loopback = {
    .family = Family::kIpv6, .bytes = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};

/// Text that is cut where a zone begins ("fe80::1%eth0").
struct ZonedText {
    char address[46];
    const char* zone;  // null where there is none
};
ZonedText CutZone(const char* text);

/// A dotted quad of four decimal octets, or an IPv6 address, which may have a zone by the name or
/// number of an interface. Nothing for any other text, nor where this machine has no such
/// interface.
std::optional<Address> ParseAddress(const char* text);

struct AddressText {
    char text[64];
};
/// As ParseAddress reads it, always the same for the same address.
AddressText FormatAddress(const Address& address);

}  // namespace zwmgmt::platform
