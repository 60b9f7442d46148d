#include "simulator/recording.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "platform/file.h"
#include "records/messages.h"
#include "zwmgmt/records/file_transfer.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;
using zwmgmt::Field;
using zwmgmt::MakeField;
using Bytes = std::vector<uint8_t>;

constexpr char kFormat[] = "korvane_zmsim recording";
constexpr int kVersion = 1;
constexpr char kOpening[] = "opening";
constexpr char kLogin[] = "login";
constexpr const char* kNames[] = {"session", "command", "request", "reply"};

/// What tells requests apart beside their data.
constexpr Field kRequestFields[] = {
    ZWMGMT_FIELD(_Message, service),
    ZWMGMT_FIELD(_Message, qualifier),
    ZWMGMT_FIELD(_Message, opcode),
};

constexpr Field kReplyFields[] = {
    ZWMGMT_FIELD(_Message, os_type),    ZWMGMT_FIELD(_Message, word_size),
    ZWMGMT_FIELD(_Message, rw_token),   ZWMGMT_FIELD(_Message, service),
    ZWMGMT_FIELD(_Message, qualifier),  ZWMGMT_FIELD(_Message, opcode),
    ZWMGMT_FIELD(_Message, status),     ZWMGMT_FIELD(_Message, data_length),
    ZWMGMT_FIELD(_Message, reserved0),  ZWMGMT_FIELD(_Message, reserved8),
    ZWMGMT_FIELD(_Message, reserved13), ZWMGMT_FIELD(_Message, reserved18),
};

/// The data as they are kept: of a file's chunk all but its content.
Bytes Kept(const agent::Message& request) {
    Bytes data = request.data;
    if (request.header.service == zwmgmt::kSystem && request.header.opcode == zwmgmt::kInstall &&
        data.size() == sizeof(FileTransferRecord)) {
        const auto content = data.begin() + offsetof(FileTransferRecord, chunk_data);
        data.erase(content, content + zwmgmt::kChunkSize);
    }
    return data;
}

std::string KeyOf(Kind kind, const _Message& header, const Bytes& kept) {
    if (kind == Kind::kOpening) return kOpening;
    if (kind == Kind::kLogin) return kLogin;
    std::string key(1, '\0');  // which the two above do not begin with
    for (const Field& field : kRequestFields) {
        key.append(reinterpret_cast<const char*>(&header) + field.offset, field.width);
    }
    return key.append(kept.begin(), kept.end());
}

// ---- Writing ------------------------------------------------------------------------------------

std::string Hex(const Bytes& bytes) {
    std::string digits(2 * bytes.size() + 1, '\0');
    OPENSSL_buf2hexstr_ex(digits.data(), digits.size(), nullptr, bytes.data(), bytes.size(), '\0');
    digits.pop_back();
    return digits;
}

/// What is not zero, and the data where there are any.
ordered_json Told(std::span<const Field> fields, const _Message& header, const Bytes& data) {
    ordered_json object = ordered_json::object();
    for (const Field& field : fields) {
        const auto value = static_cast<uint64_t>(zwmgmt::IntegerOf(&header, field));
        if (value != 0) object[field.name] = value;
    }
    if (!data.empty()) object["data"] = Hex(data);
    return object;
}

// ---- Reading ------------------------------------------------------------------------------------

[[noreturn]] void Wrong(const std::string& what) { throw std::runtime_error(what); }

const json& Object(const json& value, const std::string& where) {
    if (!value.is_object()) Wrong(where + ": expected an object");
    return value;
}

Bytes Unhex(const json& value, const std::string& where) {
    if (!value.is_string()) Wrong(where + ": expected a text");
    const auto& digits = value.get_ref<const std::string&>();
    Bytes bytes(digits.size() / 2);
    size_t length = 0;
    if (!digits.empty() &&
        OPENSSL_hexstr2buf_ex(bytes.data(), bytes.size(), &length, digits.c_str(), '\0') != 1) {
        Wrong(where + ": not bytes as hexadecimal digits");
    }
    bytes.resize(length);
    return bytes;
}

agent::Message MessageFrom(const json& object, std::span<const Field> fields,
                           const std::string& where) {
    agent::Message message;
    for (const auto& [name, value] : Object(object, where).items()) {
        const std::string place = where + "." + name;
        const auto field = std::ranges::find(fields, name, &Field::name);
        if (name == "data") {
            message.data = Unhex(value, place);
        } else if (field == fields.end()) {
            Wrong(place + ": unknown name");
        } else {
            const uint64_t most = UINT64_MAX >> (64 - 8 * field->width);
            if (!value.is_number_unsigned() || value.get<uint64_t>() > most) {
                Wrong(place + ": expected a number from 0 to " + std::to_string(most));
            }
            const auto number = value.get<uint64_t>();
            std::memcpy(reinterpret_cast<char*>(&message.header) + field->offset, &number,
                        field->width);
        }
    }
    return message;
}

agent::Message ReplyFrom(const json& object) {
    agent::Message reply = MessageFrom(object, kReplyFields, "reply");
    const uint32_t length = reply.header.status == 0 ? uint32_t{reply.header.data_length} : 0;
    if (reply.data.size() != length) {
        Wrong("reply.data: " + std::to_string(reply.data.size()) + " bytes instead of " +
              std::to_string(length));
    }
    return reply;
}

}  // namespace

Kind KindOf(const agent::Message& message, bool opened) {
    if (message.header.service != zwmgmt::kSession) return opened ? Kind::kRequest : Kind::kEnd;
    const bool whole = message.data.size() == sizeof(LoginRecord);
    if (message.header.opcode == zwmgmt::kLogoutOpcode || !whole) return Kind::kEnd;
    return opened ? Kind::kLogin : Kind::kOpening;
}

void Converse(agent::Wire& wire, const std::function<Answer(Kind, const agent::Message&)>& answer) {
    agent::Message message;
    bool opened = false;
    const auto stage = [&] { return opened ? agent::Stage::kLoggedIn : agent::Stage::kNew; };
    for (; agent::ReadMessage(wire, stage(), agent::TimeLimits(), &message); opened = true) {
        const Kind kind = KindOf(message, opened);
        if (kind == Kind::kEnd) return;
        const Answer reply = answer(kind, message);
        OPENSSL_cleanse(message.data.data(), message.data.size());
        if (!reply || !agent::WriteMessage(wire, reply->header, reply->data)) return;
    }
}

std::string CommandOf(Kind kind, const _Message& header) {
    if (kind == Kind::kOpening) return kOpening;
    if (kind == Kind::kLogin) return kLogin;
    const zwmgmt::MessageForm* form =
        zwmgmt::FindMessageForm(header.service, header.opcode, header.os_type);
    if (form != nullptr) return form->name;
    return std::to_string(header.service) + " " + std::to_string(header.opcode);
}

bool Recorder::Open(const std::string& path, std::string* error) {
    file = zwmgmt::platform::CreatePrivately(path.c_str());
    const ordered_json head = {{"format", kFormat}, {"version", kVersion}};
    if (file != nullptr && Write(head.dump())) return true;
    *error = "cannot write " + path + ": " + std::strerror(errno);
    return false;
}

int Recorder::NewSession() {
    const std::lock_guard lock(mutex);
    return ++sessions;
}

bool Recorder::Add(int session, Kind kind, const agent::Message& request, const Answer& answer) {
    ordered_json line = {{"session", session}, {"command", CommandOf(kind, request.header)}};
    if (kind == Kind::kRequest) {
        line["request"] = Told(kRequestFields, request.header, Kept(request));
    }
    line["reply"] = answer ? Told(kReplyFields, answer->header, answer->data) : ordered_json();
    const std::lock_guard lock(mutex);
    return Write(line.dump());
}

bool Recorder::Close() {
    const std::lock_guard lock(mutex);
    if (file != nullptr && std::fclose(file) != 0) sound = false;
    file = nullptr;
    return sound;
}

bool Recorder::Write(const std::string& line) {
    sound = sound && file != nullptr && std::fputs(line.c_str(), file) >= 0 &&
            std::fputc('\n', file) >= 0 && std::fflush(file) == 0;
    return sound;
}

bool Recording::Parse(std::string_view text, std::string* error) {
    int line = 0;
    try {
        for (size_t end; !text.empty(); text.remove_prefix(std::min(end + 1, text.size()))) {
            end = std::min(text.find('\n'), text.size());
            Take(++line, text.substr(0, end));
        }
        ++line;  // where it would stand
        if (!requests.contains(kOpening)) Wrong("no session was opened");
        return true;
    } catch (const std::exception& wrong) {
        *error = std::to_string(line) + ": " + wrong.what();
        return false;
    }
}

void Recording::Take(int number, std::string_view text) {
    constexpr bool kThrows = false;
    const auto limit = [](int depth, json::parse_event_t event, json&) {
        if (depth > 2 || event == json::parse_event_t::array_start) Wrong("unknown value");
        return true;
    };
    const json line = json::parse(text, limit, kThrows);
    if (line.is_discarded()) Wrong("not JSON");
    Object(line, "line");
    if (number == 1) {
        if (!line.contains("format") || line["format"] != kFormat) Wrong("not a recording");
        if (!line.contains("version") || line["version"] != kVersion) {
            Wrong("a recording of another version");
        }
        return;
    }
    for (const auto& [name, value] : line.items()) {
        if (std::ranges::find(kNames, name) == std::end(kNames)) Wrong(name + ": unknown name");
    }
    agent::Message request;
    Kind kind = Kind::kRequest;
    if (line.contains("request")) {
        request = MessageFrom(line["request"], kRequestFields, "request");
    } else {
        const json command = line.value("command", json());
        if (command != kOpening && command != kLogin) Wrong("request is missing");
        kind = command == kLogin ? Kind::kLogin : Kind::kOpening;
    }
    if (!line.contains("reply")) Wrong("reply is missing");
    const json& reply = line["reply"];
    requests[KeyOf(kind, request.header, Kept(request))].answers.push_back(
        reply.is_null() ? Answer() : ReplyFrom(reply));
}

const Answer* Recording::Next(Kind kind, const agent::Message& request) {
    const std::lock_guard lock(mutex);
    const auto found = requests.find(KeyOf(kind, request.header, Kept(request)));
    if (found == requests.end()) return nullptr;
    auto& [answers, next] = found->second;
    const Answer* answer = &answers[next];
    next = std::min(next + 1, answers.size() - 1);
    return answer;
}

}  // namespace zmsim
