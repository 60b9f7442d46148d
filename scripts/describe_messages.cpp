/// Prints what travels as tables for contrib/dissector.lua.
#include <cstdio>
#include <map>
#include <string>

#include "records/messages.h"
#include "session/exchange.h"
#include "session/status_texts.h"
#include "zwmgmt/message.h"

namespace zwmgmt {
namespace {

std::string Quoted(const char* text) {
    std::string quoted = "\"";
    for (; *text != '\0'; ++text) {
        if (*text == '"' || *text == '\\') quoted += '\\';
        quoted += *text;
    }
    return quoted + "\"";
}

const char* TypeName(FieldType type) {
    return type == FieldType::kUnsigned ? "unsigned"
           : type == FieldType::kSigned ? "signed"
                                        : "text";
}

const char* MeaningName(Meaning meaning) {
    switch (meaning) {
        case Meaning::kAddress: return "address";
        case Meaning::kFamily: return "family";
        case Meaning::kBits: return "bits";
        case Meaning::kBytes: return "bytes";
        case Meaning::kSecret: return "secret";
        default: return "plain";
    }
}

void PrintWords(std::span<const char* const> words) {
    std::printf(", words = {");
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i][0] != '\0')
            std::printf("[%d] = %s, ", static_cast<int>(i), Quoted(words[i]).c_str());
    }
    std::printf("}");
}

void PrintField(const Field& field) {
    std::printf("        {name = \"%s\", offset = %d, width = %d, type = \"%s\", meaning = \"%s\"",
                field.name, static_cast<int>(field.offset), static_cast<int>(field.width),
                TypeName(field.type), MeaningName(field.sense.meaning));
    if (field.sense.unit[0] != '\0') std::printf(", unit = %s", Quoted(field.sense.unit).c_str());
    static constexpr const char* kSwitch[] = {"off", "on"};
    if (!field.sense.words.empty()) PrintWords(field.sense.words);
    if (field.sense.meaning == Meaning::kFlag) PrintWords(kSwitch);
    if (field.bit != 0) std::printf(", bit = 0x%x", field.bit);
    std::printf("},\n");
}

void PrintRecord(const RecordForm& record) {
    std::printf("{\n    size = %d,\n", static_cast<int>(record.size));
    if (record.present != RecordForm::kNoPresent) {
        std::printf("    present = %d,\n", static_cast<int>(record.present));
    }
    std::printf("    fields = {\n");
    for (const Field& field : record.fields) PrintField(field);
    std::printf("    },\n    parts = {\n");
    for (const RecordPart& part : record.parts) {
        std::printf("        {name = \"%s\", offset = %d, record = \"%s\", count = %d", part.name,
                    static_cast<int>(part.offset), part.form->name, static_cast<int>(part.count));
        if (part.bit != 0) std::printf(", bit = 0x%x", part.bit);
        std::printf("},\n");
    }
    std::printf("    },\n}\n");
}

void Collect(const RecordForm* record, std::map<std::string, const RecordForm*>* records) {
    if (record == nullptr) return;
    (*records)[record->name] = record;
    for (const RecordPart& part : record->parts) Collect(part.form, records);
}

const char* FormName(Payload::Form form) {
    static constexpr const char* kNames[] = {"nothing", "text", "texts", "record", "run", "list"};
    return kNames[form];
}

std::string Described(const Payload& payload) {
    std::string text = std::string("{form = \"") + FormName(payload.form) + "\"";
    if (payload.record != nullptr)
        text += std::string(", record = \"") + payload.record->name + "\"";
    return text + "}";
}

void PrintTables() {
    std::printf("local longest = %u\nlocal header = ", kUsualReplyLimit);
    PrintRecord(kHeaderForm);
    std::map<std::string, const RecordForm*> records;
    for (const MessageForm& message : MessageForms()) {
        Collect(message.request.record, &records);
        Collect(message.reply.record, &records);
    }
    std::printf("local records = {}\n");
    for (const auto& [name, record] : records) {
        std::printf("records[\"%s\"] = ", name.c_str());
        PrintRecord(*record);
    }
    std::printf("local messages = {\n");
    for (const MessageForm& message : MessageForms()) {
        std::printf(
            "    {service = %d, opcode = %d, os_type = %d, name = %s, request = %s, reply = %s},\n",
            message.service, message.opcode, message.os_type, Quoted(message.name).c_str(),
            Described(message.request).c_str(), Described(message.reply).c_str());
    }
    std::printf("}\nlocal statuses = {\n");
    for (const StatusRow& row : StatusTexts()) {
        std::printf("    [%u] = %s,\n", row.status, Quoted(row.text).c_str());
    }
    std::printf("}\n\n");
}

}  // namespace
}  // namespace zwmgmt

int main() {
    zwmgmt::PrintTables();
    return 0;
}
