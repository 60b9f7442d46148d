#include "platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace zwmgmt::platform {
namespace {

using Clock = std::chrono::steady_clock;

int Fd(SocketHandle socket) { return static_cast<int>(socket); }

sockaddr_in SocketAddress(const Ipv4Address& address, uint16_t port) {
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    std::memcpy(&result.sin_addr, address.octets, sizeof(address.octets));
    return result;
}

SocketHandle Prepare(int fd) {
    if (fd < 0) return kNoSocket;
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    return fd;
}

int TransferResult(ssize_t moved) {
    if (moved >= 0) return static_cast<int>(moved);
    const bool again = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    return again ? kWouldBlock : kBroken;
}

}  // namespace

bool StartSockets() { return true; }
void StopSockets() {}

std::optional<Ipv4Address> ParseIpv4(const char* text) {
    Ipv4Address address;
    if (inet_pton(AF_INET, text, address.octets) != 1) return std::nullopt;
    return address;
}

std::optional<Ipv4Address> ResolveIpv4(const char* host) {
    addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &found) != 0) return std::nullopt;
    sockaddr_in first;
    std::memcpy(&first, found->ai_addr, sizeof(first));
    freeaddrinfo(found);
    Ipv4Address address;
    std::memcpy(address.octets, &first.sin_addr, sizeof(address.octets));
    return address;
}

void FormatIpv4(const Ipv4Address& address, char* text, size_t capacity) {
    inet_ntop(AF_INET, address.octets, text, static_cast<socklen_t>(capacity));
}

SocketHandle CreateSocket() { return Prepare(::socket(AF_INET, SOCK_STREAM, 0)); }

bool Connect(SocketHandle socket, const Ipv4Address& address, uint16_t port, Milliseconds limit) {
    const sockaddr_in peer = SocketAddress(address, port);
    if (connect(Fd(socket), reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) == 0) {
        return true;
    }
    if (errno != EINPROGRESS && errno != EINTR) return false;
    if (WaitFor(socket, Direction::kWrite, limit) != WaitResult::kReady) return false;
    int error = 0;
    socklen_t length = sizeof(error);
    return getsockopt(Fd(socket), SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
}

WaitResult WaitFor(SocketHandle socket, Direction direction, Milliseconds limit) {
    const short events = direction == Direction::kRead ? POLLIN : POLLOUT;
    const auto deadline = Clock::now() + limit;
    for (;;) {
        // Rounded up, so that the last wait does not spin through its final millisecond.
        const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
        pollfd entry = {Fd(socket), events, 0};
        const int wait_ms = static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
        const int ready = poll(&entry, 1, wait_ms);
        if (ready > 0) return (entry.revents & POLLNVAL) ? WaitResult::kFailed : WaitResult::kReady;
        if (ready == 0) return WaitResult::kTimeout;
        if (errno != EINTR) return WaitResult::kFailed;
    }
}

int Send(SocketHandle socket, const void* bytes, int length, bool more_follows) {
    const int flags = MSG_NOSIGNAL | (more_follows ? MSG_MORE : 0);
    return TransferResult(send(Fd(socket), bytes, static_cast<size_t>(length), flags));
}

int Receive(SocketHandle socket, void* bytes, int length) {
    return TransferResult(recv(Fd(socket), bytes, static_cast<size_t>(length), 0));
}

void HalfCloseForSending(SocketHandle socket) { shutdown(Fd(socket), SHUT_WR); }
void CloseBothWays(SocketHandle socket) { shutdown(Fd(socket), SHUT_RDWR); }
void CloseSocket(SocketHandle socket) { close(Fd(socket)); }

SocketHandle Listen(const Ipv4Address& address, uint16_t* port) {
    const SocketHandle listener = CreateSocket();
    if (listener == kNoSocket) return kNoSocket;
    const int on = 1;
    setsockopt(Fd(listener), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    sockaddr_in local = SocketAddress(address, *port);
    auto* generic = reinterpret_cast<sockaddr*>(&local);
    socklen_t length = sizeof(local);
    if (bind(Fd(listener), generic, length) != 0 || listen(Fd(listener), SOMAXCONN) != 0 ||
        getsockname(Fd(listener), generic, &length) != 0) {
        CloseSocket(listener);
        return kNoSocket;
    }
    *port = ntohs(local.sin_port);
    return listener;
}

SocketHandle Accept(SocketHandle listener, Milliseconds limit) {
    if (WaitFor(listener, Direction::kRead, limit) != WaitResult::kReady) return kNoSocket;
    const int client = accept(Fd(listener), nullptr, nullptr);
    // A client that cannot be taken for want of descriptors stays ready: no busy waiting for it.
    if (client < 0 && (errno == EMFILE || errno == ENFILE)) {
        poll(nullptr, 0, static_cast<int>(limit.count()));
    }
    return Prepare(client);
}

}  // namespace zwmgmt::platform
