#include "session/tls.h"

#include <openssl/bio.h>
#include <openssl/err.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <new>

#include "platform/thread_end.h"

namespace zwmgmt::tls {
namespace {

using Clock = Stop::Clock;

constexpr Milliseconds kGoodbyeLimit{100};
constexpr Milliseconds kHousekeepingLimit{1000};
constexpr Milliseconds kStopInterval{50};  // in which a stop is looked for

/// What TLS means by its reasons, where its own words would not help an operator.
struct ReasonRow {
    int reason;
    const char* text;
};

constexpr ReasonRow kReasons[] = {
    {SSL_R_UNSUPPORTED_PROTOCOL,
     "the other side offers only TLS versions older than the least allowed"},
    {SSL_R_TLSV1_ALERT_PROTOCOL_VERSION,
     "the other side offers only TLS versions older than the least allowed"},
    {SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED, "the other side asks for a client's certificate"},
    {SSL_R_WRONG_VERSION_NUMBER, "the other side does not speak TLS"},
    {SSL_R_UNEXPECTED_EOF_WHILE_READING, "the other side closed the connection"},
};

/// What the BIO of one connection knows. Reads end at the deadline, so that a peer that sends
/// housekeeping records without end cannot keep the TLS library in its own read loop.
struct Channel {
    platform::SocketHandle socket;
    const Stop* stop = nullptr;
    Clock::time_point deadline = {};
    bool more_follows = false;
    bool ended = false;  // the peer sends no more
};

Channel* ChannelOf(BIO* bio) { return static_cast<Channel*>(BIO_get_data(bio)); }

int FinishBioCall(BIO* bio, int moved, int retry_flag) {
    BIO_clear_retry_flags(bio);
    if (moved == platform::kWouldBlock) BIO_set_flags(bio, retry_flag | BIO_FLAGS_SHOULD_RETRY);
    return moved < 0 ? -1 : moved;
}

int WriteBio(BIO* bio, const char* bytes, int length) {
    const Channel* channel = ChannelOf(bio);
    const int moved = platform::Send(channel->socket, bytes, length, channel->more_follows);
    return FinishBioCall(bio, moved, BIO_FLAGS_WRITE);
}

int ReadBio(BIO* bio, char* bytes, int length) {
    Channel* channel = ChannelOf(bio);
    const int moved = Clock::now() < channel->deadline
                          ? platform::Receive(channel->socket, bytes, length)
                          : platform::kWouldBlock;
    if (moved == 0) channel->ended = true;
    return FinishBioCall(bio, moved, BIO_FLAGS_READ);
}

long ControlBio(BIO* bio, int command, long, void*) {
    if (command == BIO_CTRL_EOF) return ChannelOf(bio)->ended;
    return command == BIO_CTRL_FLUSH;
}

int DestroyBio(BIO* bio) {
    delete ChannelOf(bio);
    return 1;
}

BIO_METHOD* MakeMethod() {
    BIO_METHOD* method = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
    if (method == nullptr) return nullptr;
    BIO_meth_set_write(method, WriteBio);
    BIO_meth_set_read(method, ReadBio);
    BIO_meth_set_ctrl(method, ControlBio);
    BIO_meth_set_destroy(method, DestroyBio);
    return method;
}

/// The one method of the process, made when it is first needed; null while there is no memory.
const BIO_METHOD* Method() {
    static std::atomic<BIO_METHOD*> shared = nullptr;
    BIO_METHOD* method = shared;
    if (method != nullptr) return method;
    BIO_METHOD* made = MakeMethod();
    if (shared.compare_exchange_strong(method, made)) return made;
    BIO_meth_free(made);
    return method;
}

/// Repeats one TLS operation until it is done, fails, or the time is up.
template <class Operation>
Outcome Drive(SSL* ssl, Milliseconds limit, Operation operation) {
    Channel* channel = ChannelOf(SSL_get_rbio(ssl));
    const Stop* const stop = channel->stop;
    auto deadline = Clock::now() + limit;
    if (stop != nullptr) deadline = std::min(deadline, stop->Moment());
    channel->deadline = deadline;
    for (;;) {
        ERR_clear_error();
        const int result = operation();
        if (result == 1) return Outcome::kDone;

        const int reason = SSL_get_error(ssl, result);
        if (reason != SSL_ERROR_WANT_READ && reason != SSL_ERROR_WANT_WRITE) {
            return Outcome::kFailed;
        }
        const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || (stop != nullptr && stop->IsAsked())) return Outcome::kTimeout;
        const auto direction = reason == SSL_ERROR_WANT_READ ? platform::Direction::kRead
                                                             : platform::Direction::kWrite;
        const auto waited = platform::WaitFor(
            channel->socket, direction, stop != nullptr ? std::min(left, kStopInterval) : left);
        if (waited == platform::WaitResult::kTimeout) continue;
        if (waited != platform::WaitResult::kReady) return Outcome::kWaitFailed;
    }
}

}  // namespace

bool Attach(SSL* ssl, platform::SocketHandle socket, const Stop* stop) {
    platform::FreeTlsStateOfEndedThreads();
    const BIO_METHOD* method = Method();
    if (method == nullptr) return false;
    auto* channel = new (std::nothrow) Channel{socket, stop};
    if (channel == nullptr) return false;
    BIO* bio = BIO_new(method);
    if (bio == nullptr) {
        delete channel;
        return false;
    }
    BIO_set_data(bio, channel);
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl, bio, bio);
    return true;
}

void SetStop(SSL* ssl, const Stop* stop) {
    if (BIO* bio = SSL_get_rbio(ssl)) ChannelOf(bio)->stop = stop;
}

Outcome Handshake(SSL* ssl, Milliseconds limit) {
    return Drive(ssl, limit, [&] { return SSL_do_handshake(ssl); });
}

Transfer ReadSome(SSL* ssl, void* buffer, size_t length, Milliseconds limit) {
    size_t moved = 0;
    const auto outcome =
        Drive(ssl, limit, [&] { return SSL_read_ex(ssl, buffer, length, &moved); });
    return {outcome, outcome == Outcome::kDone ? moved : 0};
}

Transfer WriteSome(SSL* ssl, const void* bytes, size_t length, Milliseconds limit,
                   bool more_follows) {
    const size_t record = std::min<size_t>(length, SSL3_RT_MAX_PLAIN_LENGTH);
    ChannelOf(SSL_get_wbio(ssl))->more_follows = more_follows || length > record;
    size_t moved = 0;
    const auto outcome =
        Drive(ssl, limit, [&] { return SSL_write_ex(ssl, bytes, record, &moved); });
    return {outcome, outcome == Outcome::kDone ? moved : 0};
}

bool HasUnreadData(SSL* ssl) {
    Channel* channel = ChannelOf(SSL_get_rbio(ssl));
    const auto deadline = Clock::now() + kHousekeepingLimit;
    channel->deadline = deadline;
    for (;;) {
        ERR_clear_error();
        char byte = 0;
        size_t seen = 0;
        const int result = SSL_peek_ex(ssl, &byte, sizeof(byte), &seen);
        if (result == 1) return true;
        const bool waits = SSL_get_error(ssl, result) == SSL_ERROR_WANT_READ;
        ERR_clear_error();
        // A broken connection tells by itself, with the next message.
        if (!waits || (SSL_has_pending(ssl) == 0 && Clock::now() < deadline)) return false;
        // Part of a record is there: it is known what it is when the rest has come.
        const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || platform::WaitFor(channel->socket, platform::Direction::kRead,
                                                   left) != platform::WaitResult::kReady) {
            return true;
        }
    }
}

void Shutdown(SSL* ssl) {
    if (!SSL_is_init_finished(ssl)) return;
    ERR_clear_error();
    ChannelOf(SSL_get_rbio(ssl))->deadline = Clock::now() + kGoodbyeLimit;
    // The second call only takes in a goodbye that the peer has already sent.
    if (SSL_shutdown(ssl) == 0) SSL_shutdown(ssl);
    ERR_clear_error();
}

void DescribeAlert(char* text, size_t capacity) {
    const unsigned long error = ERR_peek_error();
    const bool alert =
        ERR_GET_LIB(error) == ERR_LIB_SSL && ERR_GET_REASON(error) >= SSL_AD_REASON_OFFSET;
    text[0] = '\0';
    if (alert) DescribeFailure(text, capacity);
}

void DescribeFailure(char* text, size_t capacity) {
    const unsigned long error = ERR_peek_error();
    const int reason = ERR_GET_REASON(error);
    text[0] = '\0';
    if (ERR_SYSTEM_ERROR(error)) {
        platform::DescribeError(reason, text, capacity);
        return;
    }
    const char* words = error != 0 ? ERR_reason_error_string(error) : nullptr;
    const auto* row = std::ranges::find(kReasons, reason, &ReasonRow::reason);
    if (ERR_GET_LIB(error) == ERR_LIB_SSL && row != std::end(kReasons)) words = row->text;
    if (words != nullptr) std::snprintf(text, capacity, "%s", words);
}

}  // namespace zwmgmt::tls
