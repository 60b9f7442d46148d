/// How records become lines for people: which field, in which words, for which agents.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "records/field.h"
#include "session/os_set.h"

class ZwMgmt_interface;

namespace zwmgmt {

/// How a line words a value that it does not show as it stands.
struct Wording {
    const char* off = nullptr;  // a switch: `on` for a text that begins with '1' and for a
    const char* on = nullptr;   // nonzero number
    std::span<const char* const> flags = {};  // by the text's first digit; no line without a word
    const char* empty = nullptr;              // instead of an empty text
};

constexpr Wording Switch(const char* off, const char* on) { return {.off = off, .on = on}; }
constexpr Wording Flag(std::span<const char* const> words) { return {.flags = words}; }
constexpr Wording OrElse(const char* empty) { return {.empty = empty}; }

struct Line {
    const Field* field;
    const char* format;  // printf's, with one conversion; null: the agent fills the field, but it
                         // is not printed as a line of its own
    Wording wording;
    bool as_number;  // the line shows the number that a text says
};

/// A row, checked when it is compiled: the one conversion of the line must suit the field.
consteval Line MakeLine(const Field* field, const char* format, Wording wording = {}) {
    if (format == nullptr) return {field, nullptr, {}, false};
    const std::string_view line = format;
    const size_t begin = line.find_first_not_of("-0123456789", line.find('%') + 1);
    const size_t end = line.find_first_of("sdux", begin);
    if (end == line.npos || line.find('%', end) != line.npos) throw "one conversion";
    const std::string_view conversion = line.substr(begin, end - begin + 1);
    const bool text = field->type == FieldType::kText;
    const bool as_number = text && conversion == "d";
    const bool shows_text = (text && !as_number) || wording.off != nullptr;
    if (shows_text != (conversion == "s")) throw "text needs %s";
    const bool needs_text = !wording.flags.empty() || wording.empty != nullptr;
    if (needs_text && !text) throw "wording of a text";
    if (!shows_text && !as_number && conversion.starts_with("ll") != (field->width == 8)) {
        throw "width";
    }
    return {field, format, wording, as_number};
}

/// The fields that agents of some systems fill, in the order in which they are printed. Where the
/// records differ further, `variant` says for which of them; 0: for all.
struct Block {
    OsSet systems;
    uint8_t variant;
    std::span<const Line> lines;

    constexpr bool IsFor(uint8_t os, uint8_t of_record) const {
        return systems.Has(os) && (variant == 0 || variant == of_record);
    }
};

/// The line of a field in a table of lines; does not compile where there is none.
consteval Line LineOf(std::span<const Line> lines, std::string_view name) {
    for (const Line& line : lines) {
        if (name == line.field->name) return line;
    }
    throw "no such line";
}

/// Prints the line through the session.
void PrintLine(ZwMgmt_interface& session, const void* record, const Line& line);

/// Prints an agent's text of several lines, control characters replaced.
void PrintAgentText(ZwMgmt_interface& session, std::string_view text);

/// The same, with a line end after the last line.
void PrintLines(ZwMgmt_interface& session, std::string_view text);

}  // namespace zwmgmt
