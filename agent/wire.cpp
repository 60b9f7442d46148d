#include "agent/wire.h"

namespace zwmgmt::agent {
namespace {

constexpr platform::Milliseconds kWriteLimit{15'000};

}  // namespace

std::unique_ptr<TlsWire> TlsWire::Accept(SSL_CTX* context, platform::SocketHandle socket,
                                         platform::Milliseconds limit) {
    std::unique_ptr<TlsWire> wire(new TlsWire(SSL_new(context), socket));
    if (!wire->ssl || !tls::Attach(wire->Tls(), socket)) return nullptr;
    SSL_set_accept_state(wire->Tls());
    const bool done = tls::Handshake(wire->Tls(), limit) == tls::Outcome::kDone;
    return done ? std::move(wire) : nullptr;
}

bool TlsWire::Read(std::span<uint8_t> buffer, Clock::time_point deadline) {
    while (!buffer.empty()) {
        const auto time = std::chrono::ceil<platform::Milliseconds>(deadline - Clock::now());
        if (time.count() <= 0) return false;
        const auto moved = tls::ReadSome(Tls(), buffer.data(), buffer.size(), time);
        if (moved.outcome != tls::Outcome::kDone) return false;
        buffer = buffer.subspan(moved.bytes);
    }
    return true;
}

bool TlsWire::Write(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto moved = tls::WriteSome(Tls(), bytes.data(), bytes.size(), kWriteLimit);
        if (moved.outcome != tls::Outcome::kDone) return false;
        bytes = bytes.subspan(moved.bytes);
    }
    return true;
}

bool TlsWire::Pause(platform::Milliseconds time) {
    return platform::WaitFor(socket, platform::Direction::kRead, time) ==
           platform::WaitResult::kTimeout;
}

void TlsWire::End() { tls::Shutdown(Tls()); }

}  // namespace zwmgmt::agent
