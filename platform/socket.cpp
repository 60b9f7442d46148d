#include "platform/socket.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>

#include "platform/native_socket.h"

namespace zwmgmt::platform {
namespace {

using native::Failure;

/// An address and port as the system takes and gives them.
struct SystemAddress {
    sockaddr_storage storage = {};
    socklen_t length = sizeof(storage);

    sockaddr* Generic() { return reinterpret_cast<sockaddr*>(&storage); }
};

SystemAddress ForSystem(const Address& address, uint16_t port) {
    SystemAddress result;
    if (address.family == Family::kIpv4) {
        sockaddr_in ipv4 = {};
        ipv4.sin_family = AF_INET;
        ipv4.sin_port = htons(port);
        std::memcpy(&ipv4.sin_addr, address.bytes, sizeof(ipv4.sin_addr));
        std::memcpy(&result.storage, &ipv4, result.length = sizeof(ipv4));
    } else {
        sockaddr_in6 ipv6 = {};
        ipv6.sin6_family = AF_INET6;
        ipv6.sin6_port = htons(port);
        ipv6.sin6_scope_id = address.zone;
        std::memcpy(&ipv6.sin6_addr, address.bytes, sizeof(ipv6.sin6_addr));
        std::memcpy(&result.storage, &ipv6, result.length = sizeof(ipv6));
    }
    return result;
}

Address FromSystem(const sockaddr* found) {
    Address address;
    if (found->sa_family == AF_INET) {
        sockaddr_in ipv4;
        std::memcpy(&ipv4, found, sizeof(ipv4));
        std::memcpy(address.bytes, &ipv4.sin_addr, sizeof(ipv4.sin_addr));
    } else {
        sockaddr_in6 ipv6;
        std::memcpy(&ipv6, found, sizeof(ipv6));
        if (IN6_IS_ADDR_V4MAPPED(&ipv6.sin6_addr)) {  // IPv4, by way of a socket for both
            std::memcpy(address.bytes, ipv6.sin6_addr.s6_addr + 12, AddressSize(Family::kIpv4));
            return address;
        }
        address.family = Family::kIpv6;
        address.zone = ipv6.sin6_scope_id;
        std::memcpy(address.bytes, &ipv6.sin6_addr, sizeof(ipv6.sin6_addr));
    }
    return address;
}

void DescribeLastError(Reason* reason) {
    DescribeError(native::LastError(), reason->text, sizeof(reason->text));
}

/// Why a text with a colon is no address.
void DescribeWrongAddress(const char* text, Reason* reason) {
    const ZonedText cut = CutZone(text);
    uint8_t ignored[16];
    if (cut.zone != nullptr && ParseAddress(Family::kIpv6, cut.address, ignored)) {
        std::snprintf(reason->text, sizeof(reason->text),
                      "this machine has no network interface \"%s\"", cut.zone);
    } else {
        *reason = {"it is no IPv6 address"};
    }
}

SocketHandle Prepared(native::Socket socket) {
    const auto handle = static_cast<SocketHandle>(socket);
    if (handle == kNoSocket) return kNoSocket;
    native::Prepare(socket);
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof(on));
    return handle;
}

template <class GetName>
std::optional<Address> SideOf(SocketHandle socket, GetName get_name) {
    SystemAddress side;
    if (get_name(native::Of(socket), side.Generic(), &side.length) != 0) return {};
    const auto family = side.Generic()->sa_family;
    if (family != AF_INET && family != AF_INET6) return {};
    return FromSystem(side.Generic());
}

int TransferResult(int moved) {
    if (moved >= 0) return moved;
    return native::LastFailure() == Failure::kMustWait ? kWouldBlock : kBroken;
}

}  // namespace

void DescribeError(int error, char* text, size_t capacity) {
    try {
        std::snprintf(text, capacity, "%s", std::system_category().message(error).c_str());
    } catch (const std::bad_alloc&) {
        text[0] = '\0';
    }
}

size_t Resolve(const char* host, std::span<Address> addresses, Reason* reason) {
    if (*host == '\0') return 0;  // some systems take it for themselves
    if (const auto address = ParseAddress(host)) {
        if (address->IsLinkLocal() && address->zone == 0) {
            *reason = {"a link-local address needs its interface, as in fe80::1%eth0"};
            return 0;
        }
        addresses[0] = *address;
        return 1;
    }
    if (std::strchr(host, ':') != nullptr) {
        DescribeWrongAddress(host, reason);
        return 0;
    }
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int failed = getaddrinfo(host, nullptr, &hints, &found);
    if (failed != 0) {
        native::DescribeResolverError(failed, reason->text, sizeof(reason->text));
        return 0;
    }
    auto end = addresses.begin();
    for (const addrinfo* each = found; each != nullptr && end != addresses.end();
         each = each->ai_next) {
        if (each->ai_family != AF_INET && each->ai_family != AF_INET6) continue;
        const Address address = FromSystem(each->ai_addr);
        if (std::find(addresses.begin(), end, address) == end) *end++ = address;
    }
    freeaddrinfo(found);
    return static_cast<size_t>(end - addresses.begin());
}

SocketHandle CreateSocket(Family family, Reason* reason) {
    const SocketHandle created =
        Prepared(::socket(family == Family::kIpv4 ? AF_INET : AF_INET6, SOCK_STREAM, 0));
    if (created == kNoSocket) DescribeLastError(reason);
    return created;
}

bool BeginConnecting(SocketHandle socket, const Address& address, uint16_t port, Reason* reason) {
    SystemAddress peer = ForSystem(address, port);
    if (connect(native::Of(socket), peer.Generic(), peer.length) == 0 ||
        native::LastFailure() == Failure::kMustWait) {
        return true;
    }
    DescribeLastError(reason);
    return false;
}

bool EndConnecting(SocketHandle socket, Reason* reason) {
    int error = 0;
    socklen_t length = sizeof(error);
    if (getsockopt(native::Of(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                   &length) != 0) {
        error = native::LastError();
    }
    if (error != 0) DescribeError(error, reason->text, sizeof(reason->text));
    return error == 0;
}

WaitResult WaitFor(SocketHandle socket, Direction direction, Milliseconds limit) {
    return WaitForAny({&socket, 1}, direction, limit);
}

int Send(SocketHandle socket, const void* bytes, int length, bool more_follows) {
    const auto moved = send(native::Of(socket), static_cast<const char*>(bytes),
                            static_cast<native::Length>(length), native::SendFlags(more_follows));
    return TransferResult(static_cast<int>(moved));
}

int Receive(SocketHandle socket, void* bytes, int length) {
    const auto moved =
        recv(native::Of(socket), static_cast<char*>(bytes), static_cast<native::Length>(length), 0);
    return TransferResult(static_cast<int>(moved));
}

void HalfCloseForSending(SocketHandle socket) {
    native::ShutDown(native::Of(socket), native::Ways::kSending);
}
void HalfCloseForReceiving(SocketHandle socket) {
    native::ShutDown(native::Of(socket), native::Ways::kReceiving);
}
void CloseBothWays(SocketHandle socket) {
    native::ShutDown(native::Of(socket), native::Ways::kBoth);
}
void CloseSocket(SocketHandle socket) { native::Close(native::Of(socket)); }

SocketHandle Listen(const Address& address, uint16_t* port, Reason* reason) {
    Reason ignored;
    if (reason == nullptr) reason = &ignored;
    SystemAddress local = ForSystem(address, *port);
    const SocketHandle listener = CreateSocket(address.family, reason);
    if (listener == kNoSocket) return kNoSocket;
    const native::Socket socket = native::Of(listener);
    native::ClaimPort(socket);
    if (address.family == Family::kIpv6) {
        const int on = 1;
        setsockopt(socket, IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char*>(&on),
                   sizeof(on));
    }
    if (bind(socket, local.Generic(), local.length) == 0 && listen(socket, SOMAXCONN) == 0 &&
        getsockname(socket, local.Generic(), &local.length) == 0) {
        // Both families have the port in the same place.
        *port = ntohs(reinterpret_cast<const sockaddr_in*>(&local.storage)->sin_port);
        return listener;
    }
    DescribeLastError(reason);
    CloseSocket(listener);
    return kNoSocket;
}

std::optional<Address> PeerOf(SocketHandle socket) { return SideOf(socket, getpeername); }
std::optional<Address> LocalOf(SocketHandle socket) { return SideOf(socket, getsockname); }

SocketHandle Accept(std::span<const SocketHandle> listeners, Milliseconds limit) {
    if (WaitForAny(listeners, Direction::kRead, limit) != WaitResult::kReady) return kNoSocket;
    for (const SocketHandle listener : listeners) {
        const SocketHandle client = Prepared(accept(native::Of(listener), nullptr, nullptr));
        if (client != kNoSocket) return client;
        // A client that cannot be taken for want of handles stays ready: no busy waiting for it.
        if (native::LastFailure() == Failure::kOutOfHandles) {
            std::this_thread::sleep_for(limit);
            break;
        }
    }
    return kNoSocket;
}

}  // namespace zwmgmt::platform
