#include "session/login.h"

#include <openssl/crypto.h>

#include <cstring>

#include "platform/host.h"
#include "zwmgmt/fixed_text.h"

namespace zwmgmt {
namespace {

/// A message with a heap copy of the record as data; data is null when there is no memory.
_Message LoginMessage(const LoginRecord& record) {
    _Message message = {};
    message.data = std::malloc(sizeof(record));
    if (message.data != nullptr) {
        message.data_length = sizeof(record);
        std::memcpy(message.data, &record, sizeof(record));
    }
    return message;
}

}  // namespace

SessionResult Login::SetUser(const char* user_name) {
    if (std::strlen(user_name) > sizeof(record.user_name)) return {kInvalidValue};
    char local_user[sizeof(record.local_user)];
    if (!platform::CurrentUserName(local_user, sizeof(local_user))) {
        return {kLoginFailed, "ERROR: Cannot get current user name\n"};
    }
    SetFixedText(record.local_user, local_user);
    SetFixedText(record.user_name, user_name);
    return {};
}

uint32_t Login::SetPassword(const char* password) {
    const std::string_view text = password != nullptr ? password : "";
    if (text.empty() || text.size() > sizeof(record.password)) return kInvalidValue;
    SetFixedText(record.password, text);
    return kSuccess;
}

void Login::Wipe() { OPENSSL_cleanse(&record, sizeof(record)); }

SessionResult Login::Open(Exchange& exchange, char* result_buffer, _Message* introduction) const {
    *introduction = LoginMessage(record);
    if (introduction->data == nullptr) return {kOutOfMemory, "Out of memory\n"};
    ReplyData data;  // of no use, but not to be taken for the next reply
    const SessionResult opened = exchange.RoundTrip(introduction, result_buffer, &data);
    return opened.Succeeded() ? SessionResult{introduction->status} : opened;
}

SessionResult Login::Authenticate(Exchange& exchange, char* result_buffer) {
    if (record.password[0] == '\0') return {kInvalidValue};
    const bool can_ask = exchange.CanAsk();
    _Message message = can_ask ? LoginMessage(record) : _Message{};
    OPENSSL_cleanse(record.password, sizeof(record.password));
    if (!can_ask) return {kNotConnected};
    if (message.data == nullptr) return {kOutOfMemory};
    const SessionResult sent = exchange.Send(message);
    DropData(&message);
    if (!sent.Succeeded()) return exchange.Lose(sent);

    const SessionResult answered = exchange.ReceiveAnswer(result_buffer, &message);
    if (!answered.Succeeded()) return exchange.Lose({kReadError, answered.said});
    const uint32_t verdict = message.status;
    return {verdict == kSuccess || verdict == kLoginRejected ? verdict : uint32_t{kLoginFailed}};
}

}  // namespace zwmgmt
