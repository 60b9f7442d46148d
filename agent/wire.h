/// The bytes of one client's session.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "platform/socket.h"
#include "session/tls.h"

namespace zwmgmt::agent {

using Clock = std::chrono::steady_clock;

class Wire {
  public:
    virtual ~Wire() = default;

    /// Fills the buffer; false when the session is over, or is not that far at the deadline.
    virtual bool Read(std::span<uint8_t> buffer, Clock::time_point deadline) = 0;
    virtual bool Write(std::span<const uint8_t> bytes) = 0;
    /// Lets time pass; false when the client speaks or goes meanwhile, or the agent is stopped.
    virtual bool Pause(platform::Milliseconds time) = 0;
    /// Says goodbye.
    virtual void End() = 0;
    /// The certificates that the client has shown: DER, its own first, one behind the other.
    virtual std::vector<uint8_t> Certificates() const { return {}; }
};

/// TLS over a socket, which stays the caller's.
class TlsWire : public Wire {
  public:
    /// Null when the client does not get through the handshake.
    static std::unique_ptr<TlsWire> Accept(SSL_CTX* context, platform::SocketHandle socket,
                                           platform::Milliseconds limit);

    bool Read(std::span<uint8_t> buffer, Clock::time_point deadline) override;
    bool Write(std::span<const uint8_t> bytes) override;
    bool Pause(platform::Milliseconds time) override;
    void End() override;
    std::vector<uint8_t> Certificates() const override;

    SSL* Tls() const { return ssl.get(); }

  private:
    struct FreeSession {
        void operator()(SSL* session) const { SSL_free(session); }
    };

    TlsWire(SSL* session, platform::SocketHandle client) : ssl(session), socket(client) {}

    std::unique_ptr<SSL, FreeSession> ssl;
    platform::SocketHandle socket;
};

/// Puts another wire around one.
using WrapWire = std::function<std::unique_ptr<Wire>(std::unique_ptr<TlsWire>)>;

}  // namespace zwmgmt::agent
