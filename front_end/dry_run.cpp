#include "front_end/dry_run.h"

#include <algorithm>
#include <span>
#include <vector>

#include "commands/routes.h"
#include "output/characters.h"
#include "output/message_fields.h"
#include "session/agent_names.h"

namespace zwcli {
namespace {

using zwmgmt::ShownField;
using Bytes = std::span<const uint8_t>;
using Fields = std::vector<ShownField>;

/// A message that would be sent, taken apart.
struct Preview {
    explicit Preview(const _Message& built)
        : message(built),
          form(zwmgmt::FindMessageForm(built.service, built.opcode, built.os_type)),
          header(reinterpret_cast<const uint8_t*>(&message), zwmgmt::kHeaderSize),
          data(static_cast<const uint8_t*>(built.data),
               built.data != nullptr ? built.data_length : 0) {
        const auto into = [](Fields& fields) {
            return [&fields](const ShownField& field) { fields.push_back(field); };
        };
        zwmgmt::ForEachField(zwmgmt::kHeaderForm, header, into(header_fields));
        if (form != nullptr) zwmgmt::ForEachField(form->request, data, into(data_fields));
        std::ranges::stable_sort(data_fields, {}, &ShownField::offset);
    }
    Preview(const Preview&) = delete;
    Preview& operator=(const Preview&) = delete;

    const char* Name() const { return form != nullptr ? form->name : "?"; }
    bool Changes() const { return form == nullptr || form->changes; }

    const _Message message;
    const zwmgmt::MessageForm* const form;
    const Bytes header;
    const Bytes data;
    Fields header_fields;
    Fields data_fields;
};

std::string Printable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const std::string_view character = zwmgmt::FirstCharacter(text);
        printable += zwmgmt::IsControl(character) ? "?" : character;
        text.remove_prefix(character.size());
    }
    return printable;
}

void Pad(std::string* text, size_t width) {
    if (text->size() < width) text->append(width - text->size(), ' ');
}

/// A line a field that is not empty.
std::string Table(const char* title, const Fields& fields) {
    size_t names = 5;
    size_t values = 5;
    size_t empty = 0;
    for (const ShownField& field : fields) {
        empty += field.empty ? 1 : 0;
        if (field.empty) continue;
        names = std::max(names, field.name.size());
        if (field.value.size() <= 40) values = std::max(values, field.value.size());
    }
    std::string text = std::string(title) + "\n  offset  width  field";
    Pad(&text, text.size() + names - 5);
    text += "  value";
    Pad(&text, text.size() + values - 5);
    text += "  meaning\n";
    for (const ShownField& field : fields) {
        if (field.empty) continue;
        char place[40];
        std::snprintf(place, sizeof(place), "  %6d  %5d  ", static_cast<int>(field.offset),
                      static_cast<int>(field.width));
        std::string line = place + field.name;
        Pad(&line, 17 + names);
        line += "  " + Printable(field.value);
        if (!field.meaning.empty()) {
            Pad(&line, 19 + names + values);
            line += "  " + Printable(field.meaning);
        }
        text += line + "\n";
    }
    if (empty != 0) text += "  (" + std::to_string(empty) + " more, all of them 0 or empty)\n";
    return text;
}

/// Sixteen bytes a line, with their characters; lines like the one before are a "*".
std::string Dump(Bytes bytes) {
    constexpr size_t kLine = 16;
    std::string text;
    bool skipping = false;
    for (size_t begin = 0; begin < bytes.size(); begin += kLine) {
        const Bytes line = bytes.subspan(begin, std::min(kLine, bytes.size() - begin));
        const bool repeated = begin != 0 && begin + kLine < bytes.size() &&
                              std::ranges::equal(line, bytes.subspan(begin - kLine, kLine));
        if (repeated && !skipping) text += "  *\n";
        skipping = repeated;
        if (repeated) continue;
        char offset[16];
        std::snprintf(offset, sizeof(offset), "  %08x ", static_cast<unsigned>(begin));
        std::string row = offset;
        for (const uint8_t byte : line) row += " " + zwmgmt::Hexadecimal({&byte, 1});
        Pad(&row, 11 + 3 * kLine);
        row += "  |";
        for (const uint8_t byte : line) {
            row += 0x20 <= byte && byte < 0x7F ? static_cast<char>(byte) : '.';
        }
        text += row + "|\n";
    }
    return text;
}

std::string Purpose(uint16_t command) {
    const zwmgmt::Route* route = zwmgmt::FindRoute(command);
    return route != nullptr ? route->purpose : "";
}

void WriteFields(zwmgmt::JsonWriter& json, const char* key, const Fields& fields) {
    json.Key(key);
    json.BeginArray();
    for (const ShownField& field : fields) {
        json.BeginObject();
        json.Member("name", field.name);
        json.Member("offset", field.offset);
        json.Member("width", field.width);
        json.Key("value");
        WriteValue(json, field);
        if (!field.meaning.empty()) json.Member("meaning", field.meaning);
        json.EndObject();
    }
    json.EndArray();
}

}  // namespace

std::string DryRun::Text() const {
    std::string text;
    for (size_t i = 0; i < notes->MessageCount(); ++i) {
        const Preview preview(notes->MessageAt(i));
        if (i == 0) {
            text += preview.Changes() ? "Would change something: " : "Would change nothing: ";
            text += Purpose(command) + (written.empty() ? "" : ": " + Printable(written)) + "\n";
        }
        text += "\n" + std::string(preview.Name()) + ": a header of " +
                std::to_string(preview.header.size()) + " bytes and " +
                std::to_string(preview.data.size()) + " bytes of data\n\n";
        text += Table("Header", preview.header_fields) + Dump(preview.header);
        if (preview.data.empty()) continue;
        text += "\n" + Table("Data", preview.data_fields) + Dump(preview.data);
    }
    return text + "\nThe request was not sent.\n";
}

void DryRun::Write(zwmgmt::JsonWriter& json) const {
    json.BeginObject();
    json.Key("changes");
    json.Flag(notes->MessageCount() != 0 && Preview(notes->MessageAt(0)).Changes());
    json.Member("purpose", Purpose(command));
    json.Member("arguments", written);
    json.Key("messages");
    json.BeginArray();
    for (size_t i = 0; i < notes->MessageCount(); ++i) {
        const Preview preview(notes->MessageAt(i));
        json.BeginObject();
        json.Member("name", preview.Name());
        json.Member("length", preview.data.size());
        WriteFields(json, "header_fields", preview.header_fields);
        WriteFields(json, "fields", preview.data_fields);
        json.Member("header", zwmgmt::Hexadecimal(preview.header));
        json.Member("data", zwmgmt::Hexadecimal(preview.data));
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

}  // namespace zwcli
