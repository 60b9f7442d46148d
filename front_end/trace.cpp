#include "front_end/trace.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

#include "commands/vocabulary.h"
#include "output/message_fields.h"
#include "platform/file.h"
#include "zwmgmt/vocabulary.h"

namespace zwcli {
std::string TimeNow() {
    using std::chrono::system_clock;
    const auto now = system_clock::now();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    const auto thousandths =
        std::chrono::duration_cast<std::chrono::milliseconds>(now - seconds).count();
    const time_t time = system_clock::to_time_t(seconds);
    char text[32];
    const size_t length =
        std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", std::gmtime(&time));
    std::snprintf(text + length, sizeof(text) - length, ".%03dZ", static_cast<int>(thousandths));
    return text;
}

Trace::~Trace() {
    if (file != nullptr) std::fclose(file);
}

std::string Trace::Follow(ZwMgmt_interface& session) {
    if (options.trace.empty()) return "";
    file = zwmgmt::platform::AppendPrivately(options.trace.c_str());
    if (file == nullptr) return WriteFailure();
    session.SetTrace(
        [](void* self, const zwmgmt::TracedMessage& message) {
            static_cast<Trace*>(self)->Write(message);
        },
        this);
    return "";
}

void Trace::Write(const zwmgmt::TracedMessage& message) {
    const _Message& header = message.header;
    std::string line;
    zwmgmt::TextSink sink(&line, file);
    zwmgmt::JsonWriter json(sink, false);
    if (message.sent) {
        form = zwmgmt::FindMessageForm(header.service, header.opcode, header.os_type);
    }
    json.BeginObject();
    json.Member("time", TimeNow());
    json.Member("host", options.host);
    json.Member("port", options.port);
    json.Member("direction", message.sent ? "sent" : "received");
    if (const char* word = zwmgmt::ServiceWord(header.service)) json.Member("service", word);
    if (form != nullptr) json.Member("command", form->Command());
    json.Member("service_number", header.service);
    json.Member("opcode", header.opcode);
    json.Member("status", header.status);
    json.Member("length", header.data_length);
    // What comes in answer to a login may repeat it.
    const bool of_login = form != nullptr && form->service == zwmgmt::kSession;
    if (options.trace_data && message.data != nullptr && !of_login) WriteData(json, message);
    json.EndObject();
    sink.Add('\n');
    sink.Flush();
    if (std::fflush(file) != 0 || std::ferror(file)) failure = WriteFailure();
}

std::string Trace::WriteFailure() const {
    return "cannot write " + options.trace + ": " + std::strerror(errno);
}

/// The fields of each record that came whole, and all bytes.
void Trace::WriteData(zwmgmt::JsonWriter& json, const zwmgmt::TracedMessage& message) const {
    const std::span<const uint8_t> data(message.data, message.header.data_length);
    if (form != nullptr) {
        size_t records = 0;
        json.Key("records");
        json.BeginArray();
        const zwmgmt::Payload& payload = message.sent ? form->request : form->reply;
        const size_t rest = ForEachField(payload, data, [&](const zwmgmt::ShownField& field) {
            if (field.record == records) {
                if (records++ != 0) json.EndObject();
                json.BeginObject();
            }
            json.Key(field.name);
            WriteValue(json, field);
        });
        if (records != 0) json.EndObject();
        json.EndArray();
        if (rest != 0) json.Member("unknown_bytes", rest);
    }
    json.Member("data", zwmgmt::Hexadecimal(data));
}

}  // namespace zwcli
