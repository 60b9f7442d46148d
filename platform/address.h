/// Text and bytes of IP addresses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zwmgmt::platform {

enum class Family { kIpv4, kIpv6 };

/// Bytes of an address: 4 or 16.
constexpr size_t AddressSize(Family family) { return family == Family::kIpv4 ? 4 : 16; }

/// Writes AddressSize(family) bytes; false when the text is no address of the family.
bool ParseAddress(Family family, const char* text, uint8_t* bytes);

/// Writes the text, terminated; 16 characters are enough for IPv4, 46 for IPv6.
bool FormatAddress(Family family, const uint8_t* bytes, char* text, size_t capacity);

}  // namespace zwmgmt::platform
