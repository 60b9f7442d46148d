/// The description of records: one row a field says what it is called, where it lies and what it
/// means. Text layouts, the formats for programs and the simulated agent read the same rows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

#include "zwmgmt/fixed_text.h"

namespace zwmgmt {

/// How a field is stored.
enum class FieldType {
    kText,
    kUnsigned,
    kSigned,
    kCell,  // a text of a row that was decoded; see output/reply.h
};

/// What a field means to those who read it.
enum class Meaning {
    kPlain,    // a text or a number, as it is stored
    kFlag,     // off or on: a number, or a text that begins with '0' or '1'
    kWord,     // one of the field's words, by number or by the text's first digit
    kDecimal,  // a text that is a decimal number
    kCounter,  // a number that grows, until it begins anew
    kAddress,  // an IP address, of which IPv4 fills the first 4 bytes
    kFamily,   // one of the field's words, which says what the addresses behind it are
    kList,     // texts, separated by a comma and a blank
    kBits,     // a mask
    kBytes,    // bytes that are no text
    kSecret,   // a text that is shown to nobody
};

struct Sense {
    Meaning meaning = Meaning::kPlain;
    const char* unit = "";  // of a number
    std::span<const char* const> words = {};
};

constexpr Sense Plain(const char* unit) { return {.unit = unit}; }
constexpr Sense Decimal(const char* unit = "") { return {Meaning::kDecimal, unit}; }
inline constexpr Sense kFlagSense = {Meaning::kFlag};
inline constexpr Sense kCounterSense = {Meaning::kCounter};
inline constexpr Sense kAddressSense = {Meaning::kAddress};
inline constexpr Sense kListSense = {Meaning::kList};
inline constexpr Sense kBitsSense = {Meaning::kBits};
inline constexpr Sense kBytesSense = {Meaning::kBytes};
inline constexpr Sense kSecretSense = {Meaning::kSecret};
constexpr Sense FamilyOf(std::span<const char* const> words) {
    return {.meaning = Meaning::kFamily, .words = words};
}
constexpr Sense OneOf(std::span<const char* const> words) {
    return {.meaning = Meaning::kWord, .words = words};
}

struct Field {
    const char* name;
    size_t offset;
    size_t width;  // bytes; of an integer 1, 2, 4 or 8
    FieldType type;
    Sense sense;
    uint32_t bit =
        0;  // of the record's `present`, which says whether the field was given; 0: always
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

/// A row, checked when it is compiled: what the field means must suit how it is stored.
template <class Member>
consteval Field MakeField(const char* name, size_t offset, Sense sense = {}, uint32_t bit = 0) {
    constexpr FieldType type = FieldTypeOf<Member>();
    const bool text = type == FieldType::kText;
    const bool worded = sense.meaning == Meaning::kWord || sense.meaning == Meaning::kFamily;
    if (worded && sense.words.empty()) throw "no words";
    if (sense.meaning == Meaning::kDecimal && !text) throw "a number needs no text";
    if (sense.meaning == Meaning::kCounter && type != FieldType::kUnsigned) throw "no counter";
    if (sense.meaning == Meaning::kAddress && sizeof(Member) < 4) throw "no address";
    return {name, offset, sizeof(Member), type, sense, bit};
}

/// A row of a description: a member, and optionally what it means and the bit that says whether it
/// was given.
#define ZWMGMT_FIELD(Record, member, ...)        \
    MakeField<decltype(Record::member)>(#member, \
                                        offsetof(Record, member) __VA_OPT__(, ) __VA_ARGS__)

/// The rows of a record, and those of a part of it, which begins at the offset.
template <size_t Own, size_t Part>
consteval auto WithPart(const std::array<Field, Own>& own, size_t offset,
                        const std::array<Field, Part>& part) {
    std::array<Field, Own + Part> rows = {};
    for (size_t i = 0; i < Own; ++i) rows[i] = own[i];
    for (size_t i = 0; i < Part; ++i) {
        rows[Own + i] = part[i];
        rows[Own + i].offset += offset;
    }
    return rows;
}

/// The row of a name; does not compile for a name that the table lacks.
consteval const Field* FieldNamed(std::span<const Field> table, std::string_view name) {
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
