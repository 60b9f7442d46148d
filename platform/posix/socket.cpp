#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>

#include "platform/native_socket.h"

namespace zwmgmt::platform {

bool StartSockets() { return true; }
void StopSockets() {}

WaitResult WaitForAny(std::span<const SocketHandle> sockets, Direction direction,
                      Milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const short events = direction == Direction::kRead ? POLLIN : POLLOUT;
    pollfd entries[kMostSockets] = {};
    nfds_t count = 0;
    for (const SocketHandle socket : sockets) entries[count++] = {native::Of(socket), events, 0};
    const auto deadline = Clock::now() + limit;
    for (;;) {
        // Rounded up, so that the last wait does not spin through its final millisecond.
        const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
        const int wait_ms = static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
        const int ready = poll(entries, count, wait_ms);
        if (ready > 0) {
            const bool failed = std::any_of(entries, entries + count,
                                            [](const pollfd& e) { return e.revents & POLLNVAL; });
            return failed ? WaitResult::kFailed : WaitResult::kReady;
        }
        if (ready == 0) return WaitResult::kTimeout;
        if (errno != EINTR) return WaitResult::kFailed;
    }
}

namespace native {

Failure LastFailure() {
    switch (errno) {
        case EAGAIN:
#if EWOULDBLOCK != EAGAIN
        case EWOULDBLOCK:
#endif
        case EINTR:
        case EINPROGRESS: return Failure::kMustWait;
        case EMFILE:
        case ENFILE: return Failure::kOutOfHandles;
        default: return Failure::kOther;
    }
}

int LastError() { return errno; }

void DescribeResolverError(int error, char* text, size_t capacity) {
    if (error == EAI_SYSTEM) return DescribeError(errno, text, capacity);
    std::snprintf(text, capacity, "%s", gai_strerror(error));
}

uint32_t InterfaceNumber(const char* name) { return if_nametoindex(name); }

void WriteInterface(uint32_t number, char* text, size_t capacity) {
    char name[IF_NAMESIZE];
    if (if_indextoname(number, name) == nullptr) {
        std::snprintf(name, sizeof(name), "%u", number);
    }
    std::snprintf(text, capacity, "%s", name);
}

void Prepare(Socket socket) {
    fcntl(socket, F_SETFD, FD_CLOEXEC);
    fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
}

void ClaimPort(Socket listener) {
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

int SendFlags(bool more_follows) { return MSG_NOSIGNAL | (more_follows ? MSG_MORE : 0); }
void ShutDown(Socket socket, Ways ways) {
    shutdown(socket, ways == Ways::kSending     ? SHUT_WR
                     : ways == Ways::kReceiving ? SHUT_RD
                                                : SHUT_RDWR);
}
void Close(Socket socket) { close(socket); }

}  // namespace native
}  // namespace zwmgmt::platform
