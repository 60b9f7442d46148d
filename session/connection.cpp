#include "session/connection.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "session/race.h"

namespace zwmgmt {
namespace {

constexpr char kCipherList[] = "AES256-SHA:DES-CBC3-MD5:DES-CBC-MD5";
constexpr platform::Milliseconds kConnectLimit{15'000};
constexpr platform::Milliseconds kHandshakeLimit{31 * 500};
constexpr platform::Milliseconds kSendLimit{15'000};
constexpr platform::Milliseconds kPassingLimit{250};
/// Addresses of a host that are looked at, in search of both families.
constexpr size_t kMostFound = 64;

uint32_t HandshakeFailure(SSL* session, FailureDetail* detail) {
    tls::DescribeFailure(detail->text, sizeof(detail->text));
    const long verdict = SSL_get_verify_result(session);
    // Without authorities the verdict is not asked for, and need not be the reason.
    if (SSL_get_verify_mode(session) == SSL_VERIFY_NONE || verdict == X509_V_OK) {
        return kHandshakeFailed;
    }
    detail->Set("its certificate is not trusted: %s", X509_verify_cert_error_string(verdict));
    return kAgentNotTrusted;
}

}  // namespace

void FailureDetail::Set(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
}

Connection::Socket::~Socket() {
    if (handle == platform::kNoSocket) return;
    platform::HalfCloseForSending(handle);
    platform::CloseSocket(handle);
}

void Connection::EndTls::operator()(SSL* session) const {
    tls::Shutdown(session);
    SSL_free(session);
}

platform::Milliseconds Patience::Left(Stop::Clock::time_point begin,
                                      platform::Milliseconds usual) const {
    using platform::Milliseconds;
    using std::chrono::ceil;
    const auto now = Stop::Clock::now();
    Milliseconds left =
        connecting.count() == 0 ? usual : ceil<Milliseconds>(begin + connecting - now);
    if (stop != nullptr) left = std::min(left, ceil<Milliseconds>(stop->Moment() - now));
    return std::max(left, Milliseconds(0));
}

uint32_t Connection::Open(SSL_CTX* context, const char* host, uint16_t port, const PeerCheck& check,
                          std::span<char> address, FailureDetail* detail,
                          const Patience& patience) {
    const auto begin = Stop::Clock::now();
    platform::Reason reason;
    platform::Address found[kMostFound];
    const size_t count = platform::Resolve(host, found, &reason);
    if (count == 0) {
        detail->Set("%s", reason.text);
        return kHostNotResolved;
    }

    ConnectionRace race({found, count}, port);
    socket.handle = race.Run(patience.Left(begin, kConnectLimit), patience.stop);
    std::snprintf(address.data(), address.size(), "%s",
                  platform::FormatAddress(race.Winner()).text);
    if (socket.handle == platform::kNoSocket) {
        race.Explain(host, detail);
        return race.HadSocket() ? kConnectFailed : kNoSocket;
    }

    if (context == nullptr) return kNoTlsSession;
    ERR_clear_error();
    tls_session.reset(SSL_new(context));
    if (!tls_session) return kNoTlsSession;
    SSL* session = tls_session.get();
    if (SSL_set_cipher_list(session, kCipherList) != 1) return kCiphersRefused;
    if (!tls::Attach(session, socket.handle, patience.stop)) return kHandshakeFailed;
    if (!ExpectHost(host)) return kNoTlsSession;
    SSL_set_connect_state(session);
    switch (tls::Handshake(session, patience.Left(begin, kHandshakeLimit))) {
        case tls::Outcome::kDone: break;
        case tls::Outcome::kTimeout: return kHandshakeTimeout;
        default: return HandshakeFailure(session, detail);
    }
    if (check.judge == nullptr || check.judge(check.context, PeerOf(session))) return kSuccess;
    detail->Set("refused by this program");
    return kAgentNotTrusted;
}

/// Where an authority vouches for agents, it has to do so for the one that was asked for.
bool Connection::ExpectHost(const char* host) const {
    SSL* session = tls_session.get();
    if (SSL_get_verify_mode(session) == SSL_VERIFY_NONE) return true;
    if (const auto address = platform::ParseAddress(host)) {  // its zone is this machine's affair
        return X509_VERIFY_PARAM_set1_ip(SSL_get0_param(session), address->bytes,
                                         platform::AddressSize(address->family)) == 1;
    }
    SSL_set_hostflags(session, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return SSL_set1_host(session, host) == 1;
}

Moved Connection::Send(const uint8_t* bytes, uint32_t length, bool more_follows) {
    Moved sent = {0, tls_session ? tls::Outcome::kDone : tls::Outcome::kFailed};
    while (sent.bytes < length && sent.outcome == tls::Outcome::kDone) {
        const auto moved = tls::WriteSome(tls_session.get(), bytes + sent.bytes,
                                          length - sent.bytes, kSendLimit, more_follows);
        sent.bytes += static_cast<uint32_t>(moved.bytes);
        sent.outcome = moved.outcome;
    }
    return sent;
}

Moved Connection::Receive(uint8_t* bytes, uint32_t length, std::chrono::seconds limit) {
    Moved received = {0, tls_session ? tls::Outcome::kDone : tls::Outcome::kFailed};
    while (received.bytes < length && received.outcome == tls::Outcome::kDone) {
        const auto moved = tls::ReadSome(tls_session.get(), bytes + received.bytes,
                                         length - received.bytes, limit);
        received.bytes += static_cast<uint32_t>(moved.bytes);
        received.outcome = moved.outcome;
    }
    std::memset(bytes + received.bytes, 0xFF, length - received.bytes);
    return received;
}

void Connection::SendInPassing(const void* bytes, size_t length) {
    if (tls_session) tls::WriteSome(tls_session.get(), bytes, length, kPassingLimit);
}

bool Connection::HasUnreadData() { return tls_session && tls::HasUnreadData(tls_session.get()); }

}  // namespace zwmgmt
