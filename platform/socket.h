/// TCP over IPv4, the same on every platform. All sockets are non-blocking and never raise a
/// signal; a caller waits with WaitFor.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace zwmgmt::platform {

using SocketHandle = intptr_t;
inline constexpr SocketHandle kNoSocket = -1;

using Milliseconds = std::chrono::milliseconds;

struct Ipv4Address {
    uint8_t octets[4];
};

/// What went wrong, in words; "" where nothing is known.
struct Reason {
    char text[200] = "";
};

/// The system's words for one of its error numbers, terminated.
void DescribeError(int error, char* text, size_t capacity);

enum class Direction { kRead, kWrite };
enum class WaitResult { kReady, kTimeout, kFailed };

/// Starts the system's socket library for this process; false when that fails. Each successful
/// start wants one StopSockets.
bool StartSockets();
void StopSockets();

/// A dotted quad of four decimal octets; nothing for any other text.
std::optional<Ipv4Address> ParseIpv4(const char* text);
/// The first IPv4 address of a host name; without one, why goes into `reason`.
std::optional<Ipv4Address> ResolveIpv4(const char* host, Reason* reason);
/// "a.b.c.d", terminated; 16 bytes are enough.
void FormatIpv4(const Ipv4Address& address, char* text, size_t capacity);

/// A TCP socket that sends small packets at once; kNoSocket on failure.
SocketHandle CreateSocket();
/// False, with why in `reason`, when there is no connection within the limit.
bool Connect(SocketHandle socket, const Ipv4Address& address, uint16_t port, Milliseconds limit,
             Reason* reason);
WaitResult WaitFor(SocketHandle socket, Direction direction, Milliseconds limit);

/// Bytes moved, 0 when the peer has closed (Receive only), or one of these.
inline constexpr int kWouldBlock = -1;
inline constexpr int kBroken = -2;
/// more_follows: the bytes may wait for those of the next Send.
int Send(SocketHandle socket, const void* bytes, int length, bool more_follows = false);
int Receive(SocketHandle socket, void* bytes, int length);

void HalfCloseForSending(SocketHandle socket);
/// Ends both directions at once, which wakes whoever waits for the socket in another thread.
void CloseBothWays(SocketHandle socket);
void CloseSocket(SocketHandle socket);

/// A listening socket on an address and port (0: any free one, told through *port). kNoSocket with
/// why in *reason, where that is asked for.
SocketHandle Listen(const Ipv4Address& address, uint16_t* port, Reason* reason = nullptr);
/// The next client, waiting at most `limit`; kNoSocket when none came or the listener is closed.
SocketHandle Accept(SocketHandle listener, Milliseconds limit);

}  // namespace zwmgmt::platform
