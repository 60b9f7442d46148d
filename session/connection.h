/// One connection: a TCP socket with TLS on it, and the two transfers on which all else rests.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>

#include "session/peer.h"
#include "session/session_result.h"
#include "session/tls.h"
#include "zwmgmt/stop.h"

namespace zwmgmt {

/// What a transfer moved, and why it ended there.
struct Moved {
    uint32_t bytes;
    tls::Outcome outcome;
};

/// How long connecting may take, and what ends all waits.
struct Patience {
    platform::Milliseconds connecting{0};  // TCP and TLS together; 0: the usual limits
    const Stop* stop = nullptr;

    /// What is left of a step's usual limit, some time after connecting began.
    platform::Milliseconds Left(Stop::Clock::time_point begin, platform::Milliseconds usual) const;
};

/// Closes itself: first TLS says goodbye, then the socket goes.
class Connection {
  public:
    /// Opens TCP, then TLS, and has the agent checked. Returns kSuccess or the status of the step
    /// that failed; what is open by then stays so. address gets the host's: the one connected to,
    /// or the first that was tried.
    uint32_t Open(SSL_CTX* context, const char* host, uint16_t port, const PeerCheck& check,
                  std::span<char> address, FailureDetail* detail, const Patience& patience = {});

    /// The TLS to speak over; null where there is none.
    SSL* Tls() const { return tls_session.get(); }

    Moved Send(const uint8_t* bytes, uint32_t length, bool more_follows = false);
    /// What has not arrived reads as an end mark (0xFF).
    Moved Receive(uint8_t* bytes, uint32_t length, std::chrono::seconds limit);

    /// Sends what is not worth waiting for, nor a word when it cannot be sent.
    void SendInPassing(const void* bytes, size_t length);

    /// Whether data has arrived that nobody has read.
    bool HasUnreadData();

  private:
    class Socket {
      public:
        Socket() = default;
        ~Socket();
        Socket(const Socket&) = delete;
        Socket& operator=(const Socket&) = delete;

        platform::SocketHandle handle = platform::kNoSocket;
    };
    struct EndTls {
        void operator()(SSL* session) const;
    };

    bool ExpectHost(const char* host) const;

    Socket socket;
    std::unique_ptr<SSL, EndTls> tls_session;
};

}  // namespace zwmgmt
