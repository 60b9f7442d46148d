#include "platform/address.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include "platform/native_socket.h"

namespace zwmgmt::platform {
namespace {

/// 0 where there is no such interface.
uint32_t ZoneNumber(const char* zone) {
    const char* const end = zone + std::strlen(zone);
    uint32_t number = 0;
    const auto parsed = std::from_chars(zone, end, number);
    return parsed.ec == std::errc() && parsed.ptr == end ? number : native::InterfaceNumber(zone);
}

}  // namespace

Address NetworkOf(const Address& address) {
    constexpr size_t kNetwork = 8;
    Address network = address;
    if (address.family == Family::kIpv6) std::memset(network.bytes + kNetwork, 0, kNetwork);
    return network;
}

ZonedText CutZone(const char* text) {
    const char* const mark = std::strchr(text, '%');
    ZonedText cut = {"", mark != nullptr ? mark + 1 : nullptr};
    const size_t length = mark != nullptr ? static_cast<size_t>(mark - text) : std::strlen(text);
    if (length < sizeof(cut.address)) std::memcpy(cut.address, text, length);
    return cut;
}

std::optional<Address> ParseAddress(const char* text) {
    Address address;
    if (ParseAddress(Family::kIpv4, text, address.bytes)) return address;
    const ZonedText cut = CutZone(text);
    address.family = Family::kIpv6;
    if (!ParseAddress(Family::kIpv6, cut.address, address.bytes)) return std::nullopt;
    if (cut.zone == nullptr) return address;
    address.zone = ZoneNumber(cut.zone);
    return address.zone != 0 ? std::optional(address) : std::nullopt;
}

AddressText FormatAddress(const Address& address) {
    AddressText written = {};
    FormatAddress(address.family, address.bytes, written.text, sizeof(written.text));
    if (address.zone == 0) return written;
    const size_t length = std::strlen(written.text);
    written.text[length] = '%';
    native::WriteInterface(address.zone, written.text + length + 1,
                           sizeof(written.text) - length - 1);
    return written;
}

}  // namespace zwmgmt::platform
