#include "output/json.h"

#include <charconv>

#include "output/characters.h"

namespace zwmgmt {
namespace {

template <class Number>
std::string_view Digits(Number number, char (&room)[24]) {
    const auto written = std::to_chars(room, room + sizeof(room), number);
    return {room, static_cast<size_t>(written.ptr - room)};
}

bool IsPlain(char c) {
    const auto byte = static_cast<uint8_t>(c);
    return byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
}

/// The escape of a control character of C0 or C1.
std::string_view Escape(std::string_view control, char (&room)[8]) {
    switch (control[0]) {
        case '\n': return "\\n";
        case '\r': return "\\r";
        case '\t': return "\\t";
        default: break;
    }
    const auto code = static_cast<unsigned>(static_cast<uint8_t>(control.back()));
    std::snprintf(room, sizeof(room), "\\u%04x", code);
    return room;
}

}  // namespace

void JsonWriter::Begin(char bracket) {
    Place();
    sink.Add(bracket);
    ++depth;
    first = true;
}

void JsonWriter::End(char bracket) {
    --depth;
    if (!first) NewLine();
    sink.Add(bracket);
    first = false;
}

/// Before a value: what separates it from the one before.
void JsonWriter::Place() {
    if (named) {
        named = false;
        return;
    }
    if (depth == 0) return;
    if (!first) sink.Add(',');
    NewLine();
    first = false;
}

void JsonWriter::NewLine() {
    static constexpr std::string_view kBlanks = "                ";
    if (!lines) return;
    sink.Add('\n');
    sink.Add(kBlanks.substr(0, 2 * depth));
}

void JsonWriter::Key(std::string_view name) {
    Place();
    Quote(name);
    sink.Add(lines ? ": " : ":");
    named = true;
}

void JsonWriter::Text(std::string_view text) {
    Place();
    Quote(text);
}

void JsonWriter::Quote(std::string_view text) {
    sink.Add('"');
    while (!text.empty()) {
        size_t plain = 0;
        while (plain < text.size() && IsPlain(text[plain])) ++plain;
        sink.Add(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty()) break;
        const std::string_view character = FirstCharacter(text);
        char room[8];
        if (character == "\"" || character == "\\") {
            sink.Add('\\');
            sink.Add(character);
        } else if (character.size() == 1 && static_cast<uint8_t>(character[0]) >= 0x80) {
            sink.Add("\\ufffd");  // a byte that is no UTF-8
        } else {
            sink.Add(IsControl(character) ? Escape(character, room) : character);
        }
        text.remove_prefix(character.size());
    }
    sink.Add('"');
}

void JsonWriter::Integer(int64_t number) {
    char room[24];
    Place();
    sink.Add(Digits(number, room));
}

void JsonWriter::Unsigned(uint64_t number) {
    char room[24];
    Place();
    sink.Add(Digits(number, room));
}

void JsonWriter::Flag(bool on) {
    Place();
    sink.Add(on ? "true" : "false");
}

void JsonWriter::Null() {
    Place();
    sink.Add("null");
}

}  // namespace zwmgmt
