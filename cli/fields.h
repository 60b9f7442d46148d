/// The description of a record's fields, one row a field: what it is called, where it lies, what it
/// holds, and the line that shows it to people. Printers and the simulated agent read the same
/// rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

#include "zwmgmt/fixed_text.h"

namespace zwmgmt {

enum class FieldType { kText, kUnsigned, kSigned };

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

struct Field {
    const char* name;
    size_t offset;
    size_t width;  // bytes; of an integer 1, 2, 4 or 8
    FieldType type;
    const char* line;  // printf format of one value; null: not printed as a line of its own
    Wording wording;
    bool as_number;  // the line shows the number that a text says
};

template <class Member>
constexpr FieldType FieldTypeOf() {
    if constexpr (std::is_array_v<Member> || std::is_same_v<Member, char>) {
        return FieldType::kText;
    } else {
        static_assert(std::is_integral_v<Member>);
        return std::is_signed_v<Member> ? FieldType::kSigned : FieldType::kUnsigned;
    }
}

/// A row, checked when it is compiled: the one conversion of the line must suit the field.
template <class Member>
consteval Field MakeField(const char* name, size_t offset, const char* line, Wording wording = {}) {
    constexpr FieldType type = FieldTypeOf<Member>();
    bool as_number = false;
    if (line != nullptr) {
        const std::string_view format = line;
        const size_t begin = format.find_first_not_of("-0123456789", format.find('%') + 1);
        const size_t end = format.find_first_of("sdux", begin);
        if (end == format.npos || format.find('%', end) != format.npos) throw "one conversion";
        const std::string_view conversion = format.substr(begin, end - begin + 1);
        as_number = type == FieldType::kText && conversion == "d";
        const bool shows_text = (type == FieldType::kText && !as_number) || wording.off != nullptr;
        if (shows_text != (conversion == "s")) throw "text needs %s";
        const bool needs_text = !wording.flags.empty() || wording.empty != nullptr;
        if (needs_text && type != FieldType::kText) throw "wording of a text";
        if (!shows_text && !as_number && conversion.starts_with("ll") != (sizeof(Member) == 8)) {
            throw "width";
        }
    }
    return {name, offset, sizeof(Member), type, line, wording, as_number};
}

/// A row of a field table: a member, its line (null for none) and, optionally, the wording.
#define ZWMGMT_FIELD(Record, member, ...) \
    MakeField<decltype(Record::member)>(#member, offsetof(Record, member), __VA_ARGS__)

/// The same for a member of Record::part, under its own name.
#define ZWMGMT_PART_FIELD(Record, part, member, ...)     \
    MakeField<decltype(decltype(Record::part)::member)>( \
        #member, offsetof(Record, part) + offsetof(decltype(Record::part), member), __VA_ARGS__)

#define ZWMGMT_SILENT(Record, member) ZWMGMT_FIELD(Record, member, nullptr)

/// The row of a member; does not compile for a name that the table lacks.
template <size_t Count>
consteval const Field* FieldNamed(const Field (&table)[Count], std::string_view name) {
    for (const Field& row : table) {
        if (name == row.name) return &row;
    }
    throw "no such field";
}

/// The value of an integer field, widened by its type.
inline int64_t IntegerOf(const void* record, const Field& field) {
    const auto* bytes = static_cast<const char*>(record) + field.offset;
    uint64_t raw = 0;
    std::memcpy(&raw, bytes, field.width);
    const unsigned unused = static_cast<unsigned>(64 - 8 * field.width);
    return field.type == FieldType::kSigned ? static_cast<int64_t>(raw << unused) >> unused
                                            : static_cast<int64_t>(raw);
}

inline std::string_view TextOf(const void* record, const Field& field) {
    return FixedText(static_cast<const char*>(record) + field.offset, field.width);
}

}  // namespace zwmgmt

class ZwMgmt_interface;

namespace zwmgmt {

/// Prints the field's line through the session.
void PrintField(ZwMgmt_interface& session, const void* record, const Field& field);

/// Prints an agent's text of several lines, control characters replaced.
void PrintAgentText(ZwMgmt_interface& session, std::string_view text);

/// The same, with a line end after the last line.
void PrintLines(ZwMgmt_interface& session, std::string_view text);

}  // namespace zwmgmt
