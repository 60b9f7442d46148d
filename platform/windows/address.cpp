#include "platform/address.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#include "platform/socket.h"

namespace zwmgmt::platform {
namespace {

/// An address of either family, as Windows Sockets want it.
union SocketAddress {
    sockaddr generic;
    sockaddr_in ipv4;
    sockaddr_in6 ipv6;
};

struct FamilyRow {
    short number;
    int length;              ///< of the socket address
    const char* characters;  ///< of an address alone; Windows also takes ports and zones
};

constexpr FamilyRow kFamilies[] = {
    {AF_INET, sizeof(sockaddr_in), "0123456789."},
    {AF_INET6, sizeof(sockaddr_in6), "0123456789abcdefABCDEF:."},
};

const FamilyRow& RowOf(Family family) { return kFamilies[family == Family::kIpv4 ? 0 : 1]; }

void* BytesOf(Family family, SocketAddress* address) {
    return family == Family::kIpv4 ? static_cast<void*>(&address->ipv4.sin_addr)
                                   : static_cast<void*>(&address->ipv6.sin6_addr);
}

/// The address functions want the socket library started.
struct StartedSockets {
    ~StartedSockets() {
        if (started) StopSockets();
    }
    const bool started = StartSockets();
};

}  // namespace

bool ParseAddress(Family family, const char* text, uint8_t* bytes) {
    const FamilyRow& row = RowOf(family);
    if (text[std::strspn(text, row.characters)] != '\0') return false;
    const StartedSockets sockets;
    SocketAddress address = {};
    int length = sizeof(address);
    if (!sockets.started || WSAStringToAddressA(const_cast<char*>(text), row.number, nullptr,
                                                &address.generic, &length) != 0) {
        return false;
    }
    std::memcpy(bytes, BytesOf(family, &address), AddressSize(family));
    // Windows also takes short and octal forms: no quad that is not its own text, be it the whole
    // or the end of an IPv6 address.
    if (family == Family::kIpv6) {
        const char* end = std::strrchr(text, ':') + 1;
        uint8_t ignored[4];
        return std::strchr(end, '.') == nullptr || ParseAddress(Family::kIpv4, end, ignored);
    }
    char quad[16];
    return FormatAddress(family, bytes, quad, sizeof(quad)) && std::strcmp(quad, text) == 0;
}

bool FormatAddress(Family family, const uint8_t* bytes, char* text, size_t capacity) {
    const FamilyRow& row = RowOf(family);
    const StartedSockets sockets;
    SocketAddress address = {};
    address.generic.sa_family = static_cast<ADDRESS_FAMILY>(row.number);
    std::memcpy(BytesOf(family, &address), bytes, AddressSize(family));
    auto length = static_cast<DWORD>(capacity);
    return sockets.started && WSAAddressToStringA(&address.generic, static_cast<DWORD>(row.length),
                                                  nullptr, text, &length) == 0;
}

}  // namespace zwmgmt::platform
