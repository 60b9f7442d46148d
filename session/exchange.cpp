#include "session/exchange.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "zwmgmt/vocabulary.h"

namespace zwmgmt {
namespace {

/// Memory is taken for at most this many bytes that have not arrived yet, or for as many again as
/// have.
constexpr uint32_t kFirstGrowth = 256 * 1024;

/// One row of the receive timeouts: the first that matches wins. Zero matches everything.
struct TimeoutRow {
    uint8_t os_type;
    uint8_t service;
    uint16_t command;
    uint32_t seconds;
};

constexpr TimeoutRow kReceiveTimeouts[] = {
    {kSolaris, 0, 0, 180},
    {kLinux, kSystem, kLoadDriver, 300},
    {kXen, kSystem, kLoadDriver, 300},
    {kWindows, kSystem, kLoadDriver, 300},
    {0, kFcoe, 0, 300},
    {0, kKorvane, kFlashRom, 900},
    {kWindows, kKorvane, kSetCardProperty, 300},
};

constexpr uint32_t kUsualReceiveTimeout = 120;

bool Matches(uint32_t wanted, uint32_t actual) { return wanted == 0 || wanted == actual; }

SessionResult ReadFailure(tls::Outcome outcome) {
    switch (outcome) {
        case tls::Outcome::kTimeout: return {kReceiveTimeout, "Socket timed out\n"};
        case tls::Outcome::kWaitFailed:
            return {kReadError, "Socket error on sClient while reading. Cannot proceed.\n"};
        default: return {kReadError};
    }
}

SessionResult WriteFailure(tls::Outcome outcome, bool header_sent) {
    switch (outcome) {
        case tls::Outcome::kTimeout:
            return {header_sent ? kSendTimeout : kWriteError, "Socket timed out\n"};
        case tls::Outcome::kWaitFailed:
            return {kWriteError, "Socket error on sClient while writing. Cannot proceed\n"};
        default: return {kWriteError};
    }
}

}  // namespace

void DropData(_Message* message) {
    if (message->data != nullptr) OPENSSL_cleanse(message->data, message->data_length);
    std::free(message->data);
    message->data = nullptr;
}

uint32_t Exchange::Connect(SSL_CTX* context, const char* host, uint16_t port,
                           const PeerCheck& check, std::span<char> address) {
    Release();
    connection = new (std::nothrow) Connection;
    if (connection == nullptr) return kOutOfMemory;
    const uint32_t opened =
        connection->Open(context, host, port, check, address, &detail, patience);
    if (opened == kAgentNotTrusted) Release();  // nothing may be sent to it, now or later
    return opened;
}

void Exchange::Release() {
    connected = false;
    out_of_step = false;
    delete connection;
    connection = nullptr;
}

void Exchange::LogOut() {
    if (connected && connection != nullptr) {
        _Message message = {};
        message.opcode = kLogoutOpcode;
        connection->SendInPassing(&message, kHeaderSize);
    }
    connected = false;
}

void Exchange::SetCommand(uint8_t service, uint16_t command) {
    current_service = service;
    current_command = command;
}

uint32_t Exchange::ReceiveTimeoutSeconds() const {
    if (receive_timeout_seconds != 0) return receive_timeout_seconds;
    for (const TimeoutRow& row : kReceiveTimeouts) {
        if (Matches(row.os_type, agent_os) && Matches(row.service, current_service) &&
            Matches(row.command, current_command)) {
            return row.seconds;
        }
    }
    return kUsualReceiveTimeout;
}

SessionResult Exchange::RoundTrip(_Message* message, char* result_buffer, ReplyData* data) {
    const bool can_ask = CanAsk();
    if (can_ask) detail = {};
    const SessionResult sent = can_ask ? Send(*message) : SessionResult{kNotConnected};
    DropData(message);
    if (!can_ask) return sent;
    if (!sent.Succeeded()) return Lose(sent);

    const SessionResult answered = ReceiveAnswer(result_buffer, message);
    if (!answered.Succeeded()) return Lose(answered);
    if (message->status != kSuccess || message->data_length == 0) return {};
    const SessionResult received = ReceiveBlock(message->data_length, data);
    return received.Succeeded() ? received : Lose(received);
}

bool Exchange::CanAsk() { return Tls() != nullptr && !out_of_step && !HeardUnasked(); }

bool Exchange::HeardUnasked() {
    if (connection == nullptr || !connection->HasUnreadData()) return false;
    detail.Set("the agent sent data that it was not asked for");
    Lose({kNotConnected});
    return true;
}

SessionResult Exchange::Send(const _Message& message) {
    uint8_t first[SSL3_RT_MAX_PLAIN_LENGTH];
    const uint32_t length = message.data_length;
    const uint32_t gathered = std::min<uint32_t>(length, sizeof(first) - kHeaderSize);
    const auto* data = static_cast<const uint8_t*>(message.data);
    std::memcpy(first, &message, kHeaderSize);
    if (gathered != 0) std::memcpy(first + kHeaderSize, data, gathered);

    Moved moved = connection->Send(first, kHeaderSize + gathered, gathered < length);
    OPENSSL_cleanse(first, kHeaderSize + gathered);
    const bool header_sent = moved.bytes >= kHeaderSize;
    if (moved.outcome == tls::Outcome::kDone && gathered < length) {
        moved = connection->Send(data + gathered, length - gathered);
    }
    if (moved.outcome != tls::Outcome::kDone) return WriteFailure(moved.outcome, header_sent);
    Show(true, message, data);
    return {};
}

SessionResult Exchange::Send(const uint8_t* bytes, uint32_t length, bool* header_sent) {
    const Moved moved = connection->Send(bytes, length);
    *header_sent = moved.bytes >= kHeaderSize;
    if (moved.bytes != length) return WriteFailure(moved.outcome, *header_sent);
    _Message message = {};
    std::memcpy(&message, bytes, kHeaderSize);
    Show(true, message, bytes + kHeaderSize);
    return {};
}

SessionResult Exchange::Receive(_Message* message) {
    _Message reply = {};
    const Moved moved = ReceiveBytes(reinterpret_cast<uint8_t*>(&reply), kHeaderSize);
    const bool received = moved.bytes == kHeaderSize;
    if (received) *message = reply;
    last_reply_header = *message;
    if (!received) return ReadFailure(moved.outcome);
    // What has data is shown with them.
    if (reply.status != kSuccess || reply.data_length == 0) Show(false, reply, nullptr);
    return {};
}

SessionResult Exchange::ReceiveAnswer(char* result_buffer, _Message* message) {
    *message = {};
    std::memset(result_buffer, 0, kResultBufferSize);
    return Receive(message);
}

Moved Exchange::ReceiveBytes(uint8_t* bytes, uint32_t length) {
    const Moved moved =
        connection->Receive(bytes, length, std::chrono::seconds(ReceiveTimeoutSeconds()));
    if (moved.outcome == tls::Outcome::kFailed) TakeAlert();
    return moved;
}

/// Keeps what the agent has said why it ends the connection, if anything.
void Exchange::TakeAlert() {
    char reason[200];
    tls::DescribeAlert(reason, sizeof(reason));
    if (reason[0] != '\0') detail.Set("the agent ended it: %s", reason);
}

SessionResult Exchange::ReceiveBlock(uint32_t length, ReplyData* block) {
    if (length > reply_limit) {
        detail.Set("the agent's reply of %u bytes is above the limit of %u bytes", length,
                   reply_limit);
        return {kReadError};
    }
    ReplyData arrived;
    for (uint32_t received = 0; received < length;) {
        const uint32_t wanted = std::min(length - received, std::max(received, kFirstGrowth));
        void* grown = std::realloc(arrived.get(), received + wanted);
        if (grown == nullptr) {
            detail.Set("out of memory for the agent's reply of %u bytes", length);
            return {kReadError};
        }
        static_cast<void>(arrived.release());
        arrived.reset(static_cast<uint8_t*>(grown));
        const Moved moved = ReceiveBytes(arrived.get() + received, wanted);
        if (moved.bytes != wanted) return ReadFailure(moved.outcome);
        received += wanted;
    }
    Show(false, last_reply_header, arrived.get());
    *block = std::move(arrived);
    return {};
}

void Exchange::Show(bool sent, const _Message& header, const void* data) const {
    if (tracer.function == nullptr) return;
    const bool secret = sent && header.service == 0;  // a login
    const bool has_data = header.data_length != 0 && !secret;
    tracer.function(tracer.context,
                    {sent, header, has_data ? static_cast<const uint8_t*>(data) : nullptr});
}

SessionResult Exchange::Lose(SessionResult reason) {
    out_of_step = true;
    connected = false;
    return reason;
}

}  // namespace zwmgmt
