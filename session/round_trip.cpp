/// One request, one reply: Client_TalkToServer and its steps.
#include <openssl/crypto.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "zwmgmt/zwmgmt_interface.h"

namespace {

/// Memory is taken for at most this many bytes that have not arrived yet, or for as many again as
/// have.
constexpr uint32_t kFirstGrowth = 256 * 1024;

}  // namespace

uint32_t ZwMgmt_interface::SendMessage(const _Message& message) {
    // Header and data leave in as few TLS records as they fit into.
    uint8_t first[SSL3_RT_MAX_PLAIN_LENGTH];
    const uint32_t length = message.data_length;
    const uint32_t gathered = std::min<uint32_t>(length, sizeof(first) - header_size);
    const auto* data = static_cast<const uint8_t*>(message.data);
    std::memcpy(first, &message, header_size);
    if (gathered != 0) std::memcpy(first + header_size, data, gathered);

    uint32_t sent = CLSendData(first, header_size + gathered, gathered < length);
    OPENSSL_cleanse(first, header_size + gathered);
    if (sent < header_size) return zwmgmt::kWriteError;
    if (sent == header_size + gathered && gathered < length) {
        sent += CLSendData(data + gathered, length - gathered, false);
    }
    if (sent == header_size + length) return zwmgmt::kSuccess;
    return status == zwmgmt::kSendTimeout ? zwmgmt::kSendTimeout : zwmgmt::kWriteError;
}

uint32_t ZwMgmt_interface::ReceiveHeader(char* result_buffer, _Message* message) {
    *message = {};
    last_reply_header = {};
    std::memset(result_buffer, 0, zwmgmt::kResultBufferSize);
    const uint32_t received = ReceiveReply(message);
    last_reply_header = *message;
    return received;
}

uint32_t ZwMgmt_interface::ReceiveReply(_Message* message) {
    status = zwmgmt::kSuccess;
    _Message reply = {};
    if (CLGetData(reinterpret_cast<uint8_t*>(&reply), header_size) != header_size) {
        return status == zwmgmt::kReceiveTimeout ? zwmgmt::kReceiveTimeout : zwmgmt::kReadError;
    }
    *message = reply;
    return zwmgmt::kSuccess;
}

uint32_t ZwMgmt_interface::ReceiveBlock(uint32_t length, uint8_t** block) {
    *block = nullptr;
    if (length > reply_limit) {
        Explain("the agent's reply of %u bytes is above the limit of %u bytes", length,
                reply_limit);
        return zwmgmt::kReadError;
    }
    uint32_t received = 0;
    uint32_t result = zwmgmt::kSuccess;
    while (received < length && result == zwmgmt::kSuccess) {
        const uint32_t wanted = std::min(length - received, std::max(received, kFirstGrowth));
        auto* grown = static_cast<uint8_t*>(std::realloc(*block, received + wanted));
        if (grown == nullptr) {
            Explain("out of memory for the agent's reply of %u bytes", length);
            result = zwmgmt::kReadError;
            break;
        }
        *block = grown;
        if (CLGetData(grown + received, wanted) != wanted) {
            result =
                status == zwmgmt::kReceiveTimeout ? zwmgmt::kReceiveTimeout : zwmgmt::kReadError;
        }
        received += wanted;
    }
    if (result != zwmgmt::kSuccess) {
        std::free(*block);
        *block = nullptr;
    }
    return result;
}

uint32_t ZwMgmt_interface::Client_TalkToServer(_Message* message, char* result_buffer,
                                               uint32_t record_size, uint32_t node_size,
                                               uint16_t pointer_count, uint32_t word_size,
                                               void** out) {
    if (out != nullptr) *out = nullptr;
    if (message == nullptr) return status = zwmgmt::kMissingArgument;
    const bool usable = result_buffer != nullptr && (record_size == 0 || out != nullptr) &&
                        (message->data_length == 0 || message->data != nullptr);
    const uint32_t refused = !usable     ? zwmgmt::kMissingArgument
                             : !CanAsk() ? zwmgmt::kNotConnected
                                         : zwmgmt::kSuccess;
    status = zwmgmt::kSuccess;
    message->os_type = os_type;
    message->status = 0;
    const uint32_t sent = refused == zwmgmt::kSuccess ? SendMessage(*message) : refused;
    // Wiped first: it may be a copy of the login record.
    if (message->data != nullptr) OPENSSL_cleanse(message->data, message->data_length);
    std::free(message->data);
    message->data = nullptr;
    if (refused != zwmgmt::kSuccess) return status = refused;
    if (sent != zwmgmt::kSuccess) return LoseConnection(sent);

    const uint32_t answered = ReceiveHeader(result_buffer, message);
    if (answered != zwmgmt::kSuccess) return LoseConnection(answered);
    status = message->status;
    const uint32_t length = message->data_length;
    if (message->status != zwmgmt::kSuccess || length == 0) return zwmgmt::kSuccess;

    uint8_t* block = nullptr;
    const uint32_t received = ReceiveBlock(length, &block);
    if (received != zwmgmt::kSuccess) return LoseConnection(received);
    if (record_size != 0) {
        const int failed =
            CLBuildList(out, block, record_size, node_size, pointer_count, word_size, length);
        std::free(block);
        return status = failed ? zwmgmt::kListNotBuilt : zwmgmt::kSuccess;
    }
    std::memcpy(result_buffer, block, std::min(length, zwmgmt::kResultBufferSize));
    if (out != nullptr) {
        *out = block;
    } else {
        std::free(block);
    }
    return zwmgmt::kSuccess;
}
