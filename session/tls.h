/// TLS over a non-blocking socket, with a time limit on every step. Serves both ends: the session
/// and the simulated agent. Handshake, reads and writes are judged in one place, Drive in tls.cpp.
#pragma once

#include <openssl/ssl.h>

#include "platform/socket.h"
#include "zwmgmt/stop.h"

namespace zwmgmt::tls {

using platform::Milliseconds;

enum class Outcome {
    kDone,
    kTimeout,
    kWaitFailed,  ///< waiting for the socket failed
    kFailed,      ///< the peer has gone or broken the protocol
};

struct Transfer {
    Outcome outcome;
    size_t bytes;  ///< moved; nonzero exactly when kDone
};

/// Lets TLS speak over the socket, which stays the caller's. Sends without ever raising SIGPIPE.
/// When the stop, if any, is reached, no step waits any longer. False when there is no memory.
bool Attach(SSL* ssl, platform::SocketHandle socket, const Stop* stop = nullptr);
/// Puts this stop, or none, in the place of that one.
void SetStop(SSL* ssl, const Stop* stop);

Outcome Handshake(SSL* ssl, Milliseconds limit);

/// Reads at least one byte of data. The limit is kept also when the peer stalls within a TLS record
/// or sends nothing but TLS housekeeping.
Transfer ReadSome(SSL* ssl, void* buffer, size_t length, Milliseconds limit);
/// Writes one TLS record's worth at most. With more_follows the peer need not be woken for these
/// bytes yet: the caller writes more at once.
Transfer WriteSome(SSL* ssl, const void* bytes, size_t length, Milliseconds limit,
                   bool more_follows = false);

/// Whether data has arrived that nobody has read. Waits only for the rest of a record that has
/// begun; what TLS itself has to say (tickets, key updates) is taken in on the way and is no data,
/// unless it has no end.
bool HasUnreadData(SSL* ssl);

/// Says goodbye, without waiting for the peer's answer.
void Shutdown(SSL* ssl);

/// What the peer has said why it ends the connection, terminated; "" when it has not.
void DescribeAlert(char* text, size_t capacity);

/// Why the TLS call just made in this thread failed, terminated; "" when TLS does not know.
void DescribeFailure(char* text, size_t capacity);

}  // namespace zwmgmt::tls
