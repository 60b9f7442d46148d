#include "platform/native_socket.h"

// Behind the headers of Windows Sockets, which it needs.
#include <iphlpapi.h>

#include <algorithm>
#include <cstdio>

namespace zwmgmt::platform {
namespace {

/// Whether this side has shut the socket down for reading.
bool IsShutDown(SocketHandle socket) {
    char ignored;
    return recv(native::Of(socket), &ignored, 1, MSG_PEEK) == SOCKET_ERROR &&
           WSAGetLastError() == WSAESHUTDOWN;
}

}  // namespace

bool StartSockets() {
    WSADATA found;
    return WSAStartup(MAKEWORD(2, 2), &found) == 0;
}

void StopSockets() { WSACleanup(); }

WaitResult WaitForAny(std::span<const SocketHandle> sockets, Direction direction,
                      Milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    // A socket that another thread shuts down need not wake select: look again every so often.
    constexpr Milliseconds kRound{200};
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
        const auto round = std::clamp(left, Milliseconds(0), kRound);
        fd_set ready;
        FD_ZERO(&ready);
        for (const SocketHandle socket : sockets) FD_SET(native::Of(socket), &ready);
        fd_set failed = ready;  // for a writer: a connection that could not be made
        timeval time = {0, static_cast<long>(round.count() * 1000)};
        const bool reads = direction == Direction::kRead;
        const int count = reads ? select(0, &ready, nullptr, nullptr, &time)
                                : select(0, nullptr, &ready, &failed, &time);
        if (count > 0) return WaitResult::kReady;
        if (count < 0) return WaitResult::kFailed;
        if (std::ranges::any_of(sockets, IsShutDown)) return WaitResult::kReady;
        if (left <= round) return WaitResult::kTimeout;
    }
}

namespace native {

Failure LastFailure() {
    switch (WSAGetLastError()) {
        case WSAEWOULDBLOCK:
        case WSAEINTR: return Failure::kMustWait;
        case WSAEMFILE: return Failure::kOutOfHandles;
        default: return Failure::kOther;
    }
}

int LastError() { return WSAGetLastError(); }

void DescribeResolverError(int error, char* text, size_t capacity) {
    DescribeError(error, text, capacity);  // one space of numbers
}

uint32_t InterfaceNumber(const char* name) { return if_nametoindex(name); }

void WriteInterface(uint32_t number, char* text, size_t capacity) {
    std::snprintf(text, capacity, "%lu", static_cast<unsigned long>(number));
}

void Prepare(Socket socket) {
    u_long on = 1;
    ioctlsocket(socket, static_cast<long>(FIONBIO), &on);
    SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

void ClaimPort(Socket listener) {
    // Here SO_REUSEADDR would share the port with any other process, and connections that only
    // linger do not bar it.
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
               sizeof(on));
}

int SendFlags(bool) { return 0; }
void ShutDown(Socket socket, Ways ways) {
    shutdown(socket, ways == Ways::kSending     ? SD_SEND
                     : ways == Ways::kReceiving ? SD_RECEIVE
                                                : SD_BOTH);
}
void Close(Socket socket) { closesocket(socket); }

}  // namespace native
}  // namespace zwmgmt::platform
