/// What Berkeley sockets and Windows Sockets do differently. For the socket code of this folder
/// alone: everybody else includes platform/socket.h.
#pragma once

#if defined(_WIN32)
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

#include "platform/socket.h"

namespace zwmgmt::platform::native {

#if defined(_WIN32)
using Socket = SOCKET;
using Length = int;
#else
using Socket = int;
using Length = size_t;
#endif

inline Socket Of(SocketHandle socket) { return static_cast<Socket>(socket); }

/// What the last socket call of this thread failed with.
enum class Failure {
    kMustWait,  ///< nothing moved yet, or the connection is still being made
    kOutOfHandles,
    kOther
};
Failure LastFailure();
/// The system's number for it.
int LastError();
/// The system's words for what getaddrinfo returned.
void DescribeResolverError(int error, char* text, size_t capacity);

/// The number of a network interface, 0 where there is none of the name.
uint32_t InterfaceNumber(const char* name);
/// As people call it in a zone: by its name or its number, as is usual on the system. Terminated;
/// 17 characters are enough.
void WriteInterface(uint32_t number, char* text, size_t capacity);

/// Makes the socket non-blocking and keeps it from processes that this one starts.
void Prepare(Socket socket);
/// Lets a listener take a port that closed connections linger on, and no other process share it.
void ClaimPort(Socket listener);

int SendFlags(bool more_follows);
enum class Ways { kSending, kReceiving, kBoth };
void ShutDown(Socket socket, Ways ways);
void Close(Socket socket);

}  // namespace zwmgmt::platform::native
