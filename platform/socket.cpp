#include "platform/socket.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>

#include "platform/address.h"
#include "platform/native_socket.h"

namespace zwmgmt::platform {
namespace {

using native::Failure;

sockaddr_in SocketAddress(const Ipv4Address& address, uint16_t port) {
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    std::memcpy(&result.sin_addr, address.octets, sizeof(address.octets));
    return result;
}

SocketHandle Prepared(native::Socket socket) {
    const auto handle = static_cast<SocketHandle>(socket);
    if (handle == kNoSocket) return kNoSocket;
    native::Prepare(socket);
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof(on));
    return handle;
}

int TransferResult(int moved) {
    if (moved >= 0) return moved;
    return native::LastFailure() == Failure::kMustWait ? kWouldBlock : kBroken;
}

}  // namespace

std::optional<Ipv4Address> ParseIpv4(const char* text) {
    Ipv4Address address;
    if (!ParseAddress(Family::kIpv4, text, address.octets)) return std::nullopt;
    return address;
}

void DescribeError(int error, char* text, size_t capacity) {
    try {
        std::snprintf(text, capacity, "%s", std::system_category().message(error).c_str());
    } catch (const std::bad_alloc&) {
        text[0] = '\0';
    }
}

std::optional<Ipv4Address> ResolveIpv4(const char* host, Reason* reason) {
    if (*host == '\0') return std::nullopt;  // some systems take it for themselves
    if (std::strchr(host, ':') != nullptr) {
        *reason = {"it is an IPv6 address; agents are reached over IPv4"};
        return std::nullopt;
    }
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int failed = getaddrinfo(host, nullptr, &hints, &found);
    if (failed != 0) {
        native::DescribeResolverError(failed, reason->text, sizeof(reason->text));
        return std::nullopt;
    }
    sockaddr_in first;
    std::memcpy(&first, found->ai_addr, sizeof(first));
    freeaddrinfo(found);
    Ipv4Address address;
    std::memcpy(address.octets, &first.sin_addr, sizeof(address.octets));
    return address;
}

void FormatIpv4(const Ipv4Address& address, char* text, size_t capacity) {
    FormatAddress(Family::kIpv4, address.octets, text, capacity);
}

SocketHandle CreateSocket() { return Prepared(::socket(AF_INET, SOCK_STREAM, 0)); }

bool Connect(SocketHandle socket, const Ipv4Address& address, uint16_t port, Milliseconds limit,
             Reason* reason) {
    const sockaddr_in peer = SocketAddress(address, port);
    if (connect(native::Of(socket), reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0) {
        return true;
    }
    int error = native::LastError();
    if (native::LastFailure() == Failure::kMustWait) {
        if (WaitFor(socket, Direction::kWrite, limit) != WaitResult::kReady) {
            *reason = {"no answer in time"};
            return false;
        }
        socklen_t length = sizeof(error);
        if (getsockopt(native::Of(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                       &length) != 0) {
            error = native::LastError();
        }
    }
    if (error != 0) DescribeError(error, reason->text, sizeof(reason->text));
    return error == 0;
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

void HalfCloseForSending(SocketHandle socket) { native::ShutDown(native::Of(socket), false); }
void CloseBothWays(SocketHandle socket) { native::ShutDown(native::Of(socket), true); }
void CloseSocket(SocketHandle socket) { native::Close(native::Of(socket)); }

SocketHandle Listen(const Ipv4Address& address, uint16_t* port, Reason* reason) {
    sockaddr_in local = SocketAddress(address, *port);
    auto* generic = reinterpret_cast<sockaddr*>(&local);
    socklen_t length = sizeof(local);
    const SocketHandle listener = CreateSocket();
    if (listener != kNoSocket) native::ClaimPort(native::Of(listener));
    if (listener != kNoSocket && bind(native::Of(listener), generic, length) == 0 &&
        listen(native::Of(listener), SOMAXCONN) == 0 &&
        getsockname(native::Of(listener), generic, &length) == 0) {
        *port = ntohs(local.sin_port);
        return listener;
    }
    if (reason != nullptr) DescribeError(native::LastError(), reason->text, sizeof(reason->text));
    if (listener != kNoSocket) CloseSocket(listener);
    return kNoSocket;
}

SocketHandle Accept(SocketHandle listener, Milliseconds limit) {
    if (WaitFor(listener, Direction::kRead, limit) != WaitResult::kReady) return kNoSocket;
    const SocketHandle client = Prepared(accept(native::Of(listener), nullptr, nullptr));
    // A client that cannot be taken for want of handles stays ready: no busy waiting for it.
    if (client == kNoSocket && native::LastFailure() == Failure::kOutOfHandles) {
        std::this_thread::sleep_for(limit);
    }
    return client;
}

}  // namespace zwmgmt::platform
