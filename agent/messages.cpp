#include "agent/messages.h"

namespace zwmgmt::agent {
namespace {

constexpr uint32_t kLongestRequest = 1u << 20;

}  // namespace

bool ReadMessage(Wire& wire, Stage stage, const TimeLimits& limits, Message* message) {
    const bool is_known = stage == Stage::kLoggedIn;
    const uint32_t longest = is_known ? kLongestRequest : uint32_t{sizeof(LoginRecord)};
    auto deadline = Clock::now() + (is_known                  ? limits.idle
                                    : stage == Stage::kOpened ? limits.login
                                                              : limits.opening);
    message->header = {};
    const std::span header(reinterpret_cast<uint8_t*>(&message->header), kHeaderSize);
    if (!wire.Read(header, deadline) || message->header.data_length > longest) return false;
    if (is_known) deadline = Clock::now() + limits.request;
    message->data.assign(message->header.data_length, 0);
    return wire.Read(message->data, deadline);
}

bool WriteMessage(Wire& wire, const _Message& header, std::span<const uint8_t> data) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&header);
    std::vector<uint8_t> message(bytes, bytes + kHeaderSize);
    message.insert(message.end(), data.begin(), data.end());
    return wire.Write(message);
}

}  // namespace zwmgmt::agent
