#include "agent/client_session.h"

#include <openssl/crypto.h>

#include <cstring>

#include "agent/messages.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt::agent {
uint32_t OneUser::operator()(const LoginRecord& login) const {
    const bool right = FixedText(login.user_name) == user && FixedText(login.password) == password;
    return right ? uint32_t{kSuccess} : rejection;
}

bool ClientSession::ServeOne() {
    Message message;
    const Stage stage = !opened ? Stage::kNew : login_pending ? Stage::kOpened : Stage::kLoggedIn;
    if (!ReadMessage(wire, stage, options.limits, &message)) return false;
    auto& [header, data] = message;
    if (options.tap) {
        options.tap({reinterpret_cast<const uint8_t*>(&header), kHeaderSize}, data);
    }
    if (header.service == kSession) {
        const bool goes_on = ServeControl(header, data);
        OPENSSL_cleanse(data.data(), data.size());
        return goes_on;
    }
    if (!opened) return false;
    if (login_pending) return Send(AnswerTo(header, kLoginRejected));
    if (!options.grant_token && model.Changes(header.service, header.opcode)) {
        return Send(AnswerTo(header, kNoReadWriteToken));
    }
    if (header.service == kSystem && header.opcode == kInstall) {
        return Send(AnswerTo(header, files.Take(data)));
    }
    return ServeRequest(header, data);
}

bool ClientSession::ServeControl(const _Message& header, Data data) {
    LoginRecord record = {};
    if (header.opcode == kLogoutOpcode || data.size() != sizeof(record)) return false;
    std::memcpy(&record, data.data(), sizeof(record));
    const bool goes_on = opened ? ServeLogin(record) : ServeOpening();
    OPENSSL_cleanse(&record, sizeof(record));
    return goes_on;
}

bool ClientSession::ServeOpening() {
    opened = true;
    login_pending = options.login != nullptr;
    _Message reply = {};
    reply.os_type = model.OsType();
    reply.word_size = model.WordSize();
    reply.rw_token = options.grant_token;
    reply.opcode = login_pending;
    return Send(reply);
}

bool ClientSession::ServeLogin(const LoginRecord& record) {
    _Message reply = {};
    reply.status = options.login ? options.login(record) : uint32_t{kLoginRejected};
    if (reply.status == kSuccess) {
        login_pending = false;
    } else if (options.rejection_delay.count() > 0 && !wire.Pause(options.rejection_delay)) {
        return false;
    }
    return Send(reply);
}

bool ClientSession::ServeRequest(const _Message& request, Data data) {
    const Reply reply = model.Answer(request.service, request.opcode, data);
    _Message answer = AnswerTo(request, reply.status);
    if (reply.status != kSuccess) return Send(answer);
    answer.data_length = static_cast<uint32_t>(reply.data.size());
    return Send(answer, reply.data);
}

_Message ClientSession::AnswerTo(const _Message& request, uint32_t status) const {
    _Message answer = {};
    answer.os_type = model.OsType();
    answer.service = request.service;
    answer.opcode = request.opcode;
    answer.status = status;
    return answer;
}

bool ClientSession::Send(const _Message& header, Data data) {
    return WriteMessage(wire, header, data);
}

}  // namespace zwmgmt::agent
