#include "output/value.h"

#include <charconv>
#include <string>

#include "platform/address.h"

namespace zwmgmt {
namespace {

ResultValue Text(std::string_view text, ValueType type = ValueType::kText) {
    if (text.empty()) return {};
    return {.type = type, .text = text};
}

ResultValue Number(const void* record, const Field& field) {
    const int64_t number = IntegerOf(record, field);
    if (field.type == FieldType::kSigned) return {.type = ValueType::kInteger, .integer = number};
    return {.type = ValueType::kUnsigned, .number = static_cast<uint64_t>(number)};
}

ResultValue Flag(bool on) { return {.type = ValueType::kFlag, .flag = on}; }

/// A number that a text says; a text that says none stays one.
ResultValue Decimal(std::string_view text) {
    int64_t number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    if (!whole) return Text(text);
    return {.type = ValueType::kInteger, .integer = number};
}

/// The word at a place of the list; what it stands for where there is none.
ResultValue Word(const Field& field, uint64_t place, ResultValue without) {
    const auto words = field.sense.words;
    if (place >= words.size() || words[place][0] == '\0') return without;
    return Text(words[place]);
}

ResultValue OfText(std::string_view text, const Field& field) {
    switch (field.sense.meaning) {
        case Meaning::kFlag:
            if (text.starts_with('0') || text.starts_with('1')) return Flag(text[0] == '1');
            return {};
        case Meaning::kWord: {
            const ResultValue number = Decimal(text);
            if (number.type != ValueType::kInteger) return number;
            return Word(field, static_cast<uint64_t>(number.integer), number);
        }
        case Meaning::kDecimal: return Decimal(text);
        case Meaning::kList: return Text(text, ValueType::kList);
        default: return Text(text);
    }
}

}  // namespace

ResultValue ValueIn(const void* record, const Field& field, ValueRoom& room) {
    if (field.type == FieldType::kCell) {
        return OfText(static_cast<const std::string*>(record)[field.offset], field);
    }
    if (field.sense.meaning == Meaning::kAddress) {
        const auto* octets = static_cast<const uint8_t*>(record) + field.offset;
        platform::FormatAddress(platform::Family::kIpv4, octets, room, sizeof(room));
        return Text(room);
    }
    if (field.type == FieldType::kText) return OfText(TextOf(record, field), field);
    const ResultValue number = Number(record, field);
    if (field.sense.meaning == Meaning::kFlag) return Flag(IntegerOf(record, field) != 0);
    if (field.sense.meaning != Meaning::kWord) return number;
    return Word(field, static_cast<uint64_t>(IntegerOf(record, field)), number);
}

ValueType TypeOf(const Field& field) {
    switch (field.sense.meaning) {
        case Meaning::kFlag: return ValueType::kFlag;
        case Meaning::kDecimal: return ValueType::kInteger;
        case Meaning::kList: return ValueType::kList;
        case Meaning::kWord:
        case Meaning::kAddress: return ValueType::kText;
        default: break;
    }
    return field.type == FieldType::kSigned     ? ValueType::kInteger
           : field.type == FieldType::kUnsigned ? ValueType::kUnsigned
                                                : ValueType::kText;
}

}  // namespace zwmgmt
