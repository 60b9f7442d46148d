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

std::vector<uint8_t> TlsWire::Certificates() const {
    std::vector<uint8_t> chain;
    const auto add = [&](const X509* certificate) {
        uint8_t* bytes = nullptr;
        const int size = i2d_X509(certificate, &bytes);
        if (size > 0) chain.insert(chain.end(), bytes, bytes + size);
        OPENSSL_free(bytes);
    };
    const X509* own = SSL_get0_peer_certificate(Tls());
    if (own == nullptr) return chain;
    add(own);
    // On this side the others come without the client's own.
    const STACK_OF(X509)* others = SSL_get_peer_cert_chain(Tls());
    for (int i = 0; i < sk_X509_num(others); ++i) add(sk_X509_value(others, i));
    return chain;
}

void TlsWire::End() { tls::Shutdown(Tls()); }

}  // namespace zwmgmt::agent
