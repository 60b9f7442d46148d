#include "output/message_fields.h"

#include <algorithm>

#include "platform/address.h"

namespace zwmgmt {
namespace {

using Show = std::function<void(const ShownField&)>;
using Bytes = std::span<const uint8_t>;

constexpr uint8_t kEndOfList = 0xFF;

bool IsEmpty(Bytes bytes) {
    return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0; });
}

/// Trailing zeros say nothing.
Bytes Trimmed(Bytes bytes) {
    while (!bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
    return bytes;
}

/// A text that the bytes are, where all of them can be shown.
std::string TextIn(Bytes bytes) {
    const auto is_graphic = [](uint8_t byte) { return byte > ' ' && byte < 0x7F; };
    if (!std::ranges::all_of(bytes, is_graphic)) return "";
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string WordFor(const Field& field, uint64_t number) {
    switch (field.sense.meaning) {
        case Meaning::kFlag: return number != 0 ? "on" : "off";
        case Meaning::kFamily:
        case Meaning::kWord:
            return number < field.sense.words.size() ? field.sense.words[number] : "";
        default: return field.sense.unit;
    }
}

/// Of a text that stands for a number.
std::string WordFor(const Field& field, std::string_view text) {
    if (text.empty() || text[0] < '0' || text[0] > '9') return "";
    return WordFor(field, static_cast<uint64_t>(text[0] - '0'));
}

class Walk {
  public:
    Walk(Bytes whole, const Show& shown) : data(whole), show(shown) {}

    size_t record = 0;

    void Record(const RecordForm& form, size_t begin, const std::string& prefix) {
        for (const Field& field : form.fields) {
            if (IsGiven(form, begin, field.bit)) One(field, begin, prefix);
        }
        for (const RecordPart& part : form.parts) {
            if (!IsGiven(form, begin, part.bit)) continue;
            for (size_t i = 0; i < part.count; ++i) {
                std::string name = prefix + part.name;
                if (part.count > 1) name += "[" + std::to_string(i) + "]";
                Record(*part.form, begin + part.offset + i * part.form->size, name + ".");
            }
        }
    }

    void Text(Bytes text, size_t offset) {
        show({.name = "text",
              .record = record,
              .offset = offset,
              .width = text.size(),
              .value = {reinterpret_cast<const char*>(text.data()), text.size()},
              .empty = text.empty()});
    }

  private:
    bool IsGiven(const RecordForm& form, size_t begin, uint32_t bit) const {
        if (bit == 0 || form.present == RecordForm::kNoPresent) return true;
        uint32_t present = 0;
        std::memcpy(&present, data.data() + begin + form.present, sizeof(present));
        return (present & bit) != 0;
    }

    void One(const Field& field, size_t begin, const std::string& prefix) {
        const Bytes bytes = data.subspan(begin + field.offset, field.width);
        ShownField shown = {.name = prefix + field.name,
                            .record = record,
                            .offset = begin + field.offset,
                            .width = field.width,
                            .is_number = field.type != FieldType::kText,
                            .is_signed = field.type == FieldType::kSigned,
                            .empty = IsEmpty(bytes)};
        if (shown.is_number) {
            Number(field, data.data() + begin, &shown);
        } else {
            Bytewise(field, bytes, &shown);
        }
        show(shown);
    }

    void Number(const Field& field, const uint8_t* bytes, ShownField* shown) {
        shown->number = IntegerOf(bytes, field);
        const auto raw = static_cast<uint64_t>(shown->number);
        shown->value = shown->is_signed ? std::to_string(shown->number) : std::to_string(raw);
        shown->meaning = WordFor(field, raw);
        if (field.sense.meaning == Meaning::kFamily) family = shown->meaning;
        if (field.sense.meaning == Meaning::kBits) {
            char digits[24];
            std::snprintf(digits, sizeof(digits), "0x%llx", static_cast<unsigned long long>(raw));
            shown->meaning = digits;
        }
    }

    void Bytewise(const Field& field, Bytes bytes, ShownField* shown) {
        const Bytes trimmed = Trimmed(bytes);
        switch (field.sense.meaning) {
            case Meaning::kSecret:
                if (!trimmed.empty()) shown->meaning = "not shown";
                return;
            case Meaning::kBytes:
                shown->value = Hexadecimal(trimmed);
                shown->meaning = TextIn(trimmed);
                return;
            case Meaning::kAddress: Address(bytes, shown); return;
            default:
                shown->value = FixedText(bytes.data(), bytes.size());
                shown->meaning = WordFor(field, shown->value);
        }
    }

    /// IPv4 where nothing else was said; a name where neither was.
    void Address(Bytes bytes, ShownField* shown) {
        const bool ipv6 = family == "ipv6";
        if (!ipv6 && family != "ipv4") {
            shown->value = FixedText(bytes.data(), bytes.size());
            return;
        }
        const auto kind = ipv6 ? platform::Family::kIpv6 : platform::Family::kIpv4;
        if (bytes.size() < platform::AddressSize(kind)) return;
        shown->value = Hexadecimal(bytes.first(std::min<size_t>(bytes.size(), 16)));
        char text[46] = "";
        platform::FormatAddress(kind, bytes.data(), text, sizeof(text));
        shown->meaning = text;
    }

    const Bytes data;
    const Show& show;
    std::string family = "ipv4";  // of the addresses that follow
};

size_t ShowRecords(const Payload& payload, Bytes data, const Show& show) {
    const size_t size = payload.record->size;
    const size_t most = payload.form == Payload::kRecord ? size : data.size();
    Walk walk(data, show);
    size_t begin = 0;
    for (; begin + size <= most && begin + size <= data.size(); begin += size, ++walk.record) {
        if (payload.form == Payload::kList && data[begin] == kEndOfList) break;
        walk.Record(*payload.record, begin, "");
    }
    const bool ended =
        payload.form == Payload::kList && begin < data.size() && data[begin] == kEndOfList;
    return ended ? 0 : data.size() - begin;
}

size_t ShowTexts(Bytes data, const Show& show) {
    Walk walk(data, show);
    size_t begin = 0;
    for (; begin < data.size(); ++walk.record) {
        const auto rest = data.subspan(begin);
        const auto end = std::ranges::find(rest, uint8_t{0});
        if (end == rest.end()) break;
        const auto length = static_cast<size_t>(end - rest.begin());
        walk.Text(rest.first(length), begin);
        begin += length + 1;
    }
    return data.size() - begin;
}

}  // namespace

void WriteValue(JsonWriter& json, const ShownField& field) {
    if (field.is_signed) {
        json.Integer(field.number);
    } else if (field.is_number) {
        json.Unsigned(static_cast<uint64_t>(field.number));
    } else {
        json.Text(field.value);
    }
}

std::string Hexadecimal(Bytes bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

void ForEachField(const RecordForm& form, Bytes record, const Show& show) {
    if (record.size() >= form.size) Walk(record, show).Record(form, 0, "");
}

size_t ForEachField(const Payload& payload, Bytes data, const Show& show) {
    switch (payload.form) {
        case Payload::kNothing: return data.size();
        case Payload::kText: Walk(data, show).Text(data, 0); return 0;
        case Payload::kTexts: return ShowTexts(data, show);
        default: return ShowRecords(payload, data, show);
    }
}

}  // namespace zwmgmt
