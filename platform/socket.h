/// TCP over IPv4 and IPv6, the same on every platform. All sockets are non-blocking and never raise
/// a signal; a caller waits with WaitFor.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/address.h"

namespace zwmgmt::platform {

using SocketHandle = intptr_t;
inline constexpr SocketHandle kNoSocket = -1;

using Milliseconds = std::chrono::milliseconds;

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

/// The addresses of a host in the order in which the system would try them, each once, as many as
/// there is room for. Returns how many; without any, why goes into `reason`. An address needs no
/// look-up; one that is link-local needs its zone.
size_t Resolve(const char* host, std::span<Address> addresses, Reason* reason);

/// A TCP socket that sends small packets at once; kNoSocket, with why in `reason`, on failure.
SocketHandle CreateSocket(Family family, Reason* reason);
/// Begins to connect; the socket becomes ready for writing when that has ended. False, with why in
/// `reason`, when it has failed at once.
bool BeginConnecting(SocketHandle socket, const Address& address, uint16_t port, Reason* reason);
/// Whether a connection was made, once the socket is ready; why not goes into `reason`.
bool EndConnecting(SocketHandle socket, Reason* reason);

WaitResult WaitFor(SocketHandle socket, Direction direction, Milliseconds limit);
/// How many sockets can be waited for at once.
inline constexpr size_t kMostSockets = 16;
/// Waits until at least one of them is ready.
WaitResult WaitForAny(std::span<const SocketHandle> sockets, Direction direction,
                      Milliseconds limit);

/// Bytes moved, 0 when the peer has closed (Receive only), or one of these.
inline constexpr int kWouldBlock = -1;
inline constexpr int kBroken = -2;
/// more_follows: the bytes may wait for those of the next Send.
int Send(SocketHandle socket, const void* bytes, int length, bool more_follows = false);
int Receive(SocketHandle socket, void* bytes, int length);

void HalfCloseForSending(SocketHandle socket);
/// Who waits for bytes gets those that have come, and then the end.
void HalfCloseForReceiving(SocketHandle socket);
/// Ends both directions at once, which wakes whoever waits for the socket in another thread.
void CloseBothWays(SocketHandle socket);
void CloseSocket(SocketHandle socket);

/// A listening socket on an address and port (0: any free one, told through *port), whose clients
/// are of the address's family alone. kNoSocket with why in *reason, where that is asked for.
SocketHandle Listen(const Address& address, uint16_t* port, Reason* reason = nullptr);
/// The next client of any of the listeners, waiting at most `limit`; kNoSocket when none came or a
/// listener is closed.
SocketHandle Accept(std::span<const SocketHandle> listeners, Milliseconds limit);

/// Where the other side of a connected socket is; nothing when it is gone.
std::optional<Address> PeerOf(SocketHandle socket);
/// Where its own side is.
std::optional<Address> LocalOf(SocketHandle socket);

}  // namespace zwmgmt::platform
