#include "commands/arguments.h"

#include <algorithm>

#include "commands/handler.h"
#include "commands/vocabulary.h"
#include "records/field.h"

namespace zwmgmt {
namespace {

constexpr int64_t kHighest31 = std::numeric_limits<int32_t>::max();

/// Whether the member can hold the number; an unsigned one takes negative numbers as well.
bool Fits(int64_t number, const Argument& row) {
    if (row.width >= sizeof(number)) return true;
    const int64_t end = int64_t{1} << (8 * row.width);
    return -end / 2 <= number && number < (row.is_signed ? end / 2 : end);
}

Verdict SetText(const Argument& row, std::string_view text, char* member) {
    if (text.size() > row.width || (row.form == Form::kName && text.empty())) return Wrong();
    SetFixedText(member, row.width, text);
    return {};
}

/// Nothing for a form that has no number.
std::optional<int64_t> NumberOf(const Argument& row, std::string_view text) {
    if (row.read == nullptr) return 0;
    const auto number = row.read(text);
    return number && row.form == Form::kLowByte ? *number & 0xFF : number;
}

Verdict SetByForm(const Argument& row, std::string_view text, char* member) {
    const auto number = NumberOf(row, text);
    if (!number) return Wrong(row.wrong);
    if (row.rule.message != nullptr && !row.rule.Allows(*number)) return Wrong(row.rule.message);
    const auto store = [&](int64_t value) {
        std::memcpy(member, &value, row.width);
        return Verdict{};
    };
    switch (row.form) {
        case Form::kText:
        case Form::kName: return SetText(row, text, member);
        case Form::kFlag:
            if (text.size() != 1 || !IsAllDigits(text)) return Wrong();
            SetFixedText(member, row.width, text);
            return {};
        case Form::kNumber: return Fits(*number, row) ? store(*number) : Wrong();
        case Form::kLowByte: return store(*number);
        case Form::kLow16: return store(*number & 0xFFFF);
        case Form::kNumberText:
            std::memset(member, 0, row.width);
            return std::to_chars(member, member + row.width, *number).ec == std::errc() ? Verdict{}
                                                                                        : Wrong();
        case Form::kWord: {
            const auto word = std::ranges::find(row.words, text, &Word::word);
            return word != row.words.end() ? store(word->number) : Wrong();
        }
        case Form::kNothing: return {};
        default: return Wrong();  // those of the others have a function of their own
    }
}

/// Notes a number that the record holds otherwise than it was written, or that agents refuse.
void Note(ZwMgmt_interface& session, const Argument& row, const Client_Request_Argument& key,
          const char* member) {
    if (Remarks::Of(session) == nullptr || row.set != nullptr || row.read == nullptr) return;
    const auto number = row.read(ValueOf(key));
    const bool in_binary =
        row.form == Form::kNumber || row.form == Form::kLowByte || row.form == Form::kLow16;
    int64_t stored = *number;
    if (in_binary) {
        const FieldType type = row.is_signed ? FieldType::kSigned : FieldType::kUnsigned;
        stored = IntegerOf(member, {row.word, 0, row.width, type, {}});
    }
    const Rule& rule = row.rule;
    if (stored != *number) {
        Remarks::Warn(session, key, " is sent as %lld", static_cast<long long>(stored));
    } else if (!rule.Allows(stored)) {
        Remarks::Warn(session, key, ": %lld is outside %s, and is sent as it is",
                      static_cast<long long>(stored), RangeText(rule.least, rule.most).c_str());
    }
}

struct Place {
    const Argument* row = nullptr;
    size_t part = 0;  // of the record, where the row's offset begins
};

Place Find(const RequestForm& form, uint8_t os_type, int key) {
    if (const Argument* row = FindArgument(form.arguments, os_type, key)) return {row, 0};
    if (const Argument* row = FindArgument(form.settings, os_type, key)) {
        return {row, form.settings_offset};
    }
    return {FindArgument(form.ignored, os_type, key), 0};
}

int RefuseKey(ZwMgmt_interface& session, const RequestForm& form,
              const Client_Request_Argument& key, const Verdict& verdict) {
    Remarks::Refuse(session, key);
    const char* word = KeyWord(form.service, key.key);
    const char* text = verdict.text != nullptr ? verdict.text : form.wrong;
    session.PrintOutput(text, word != nullptr ? word : "argument");
    return verdict.result;
}

/// What help says of a number without a rule: what the member can hold, and the reader gives.
std::string RangeOfMember(const Argument& row) {
    if (row.width == sizeof(int64_t)) return "a number";
    const int64_t end = int64_t{1} << (8 * row.width);
    if (row.read == AsCReads) return RangeText(0, std::min(end - 1, kHighest31));
    return row.is_signed ? RangeText(-end / 2, end / 2 - 1) : RangeText(0, end - 1);
}

}  // namespace

Verdict SetArgument(ZwMgmt_interface* session, const Argument& row,
                    const Client_Request_Argument& key, void* record) {
    if (row.set != nullptr) return row.set(session, row, key, record);
    char* member = static_cast<char*>(record) + row.offset;
    const Verdict verdict = SetByForm(row, ValueOf(key), member);
    if (verdict.result == kSuccess && session != nullptr) Note(*session, row, key, member);
    return verdict.result != kSuccess && verdict.text == nullptr ? Wrong(row.wrong) : verdict;
}

int ReadArguments(ZwMgmt_interface& session, std::span<const Client_Request_Argument> keys,
                  const RequestForm& form, void* record) {
    const uint8_t os_type = session.OsType();
    auto* bytes = static_cast<char*>(record);
    for (const Client_Request_Argument& key : keys) {
        if (form.is_value != nullptr && !form.is_value(key, os_type)) {
            return RefuseKey(session, form, key, Wrong());
        }
        const Place place = Find(form, os_type, key.key);
        if (place.row == nullptr) {
            const char* unknown =
                form.unknown_by_os != nullptr ? form.unknown_by_os(os_type) : form.unknown;
            if (unknown == nullptr) continue;
            return RefuseKey(session, form, key, Wrong(unknown));
        }
        const Verdict verdict = SetArgument(&session, *place.row, key, bytes + place.part);
        if (verdict.result != kSuccess) return RefuseKey(session, form, key, verdict);
        if (form.mask_offset == RequestForm::kNoMask) continue;
        uint32_t mask = 0;
        std::memcpy(&mask, bytes + form.mask_offset, sizeof(mask));
        mask |= place.row->bit;
        std::memcpy(bytes + form.mask_offset, &mask, sizeof(mask));
    }
    return 0;
}

int CheckRequired(ZwMgmt_interface& session, std::span<const Client_Request_Argument> keys,
                  const RequestForm& form, const void* record) {
    for (const Required& required : form.required) {
        if (!required.systems.Has(session.OsType())) continue;
        const Argument* row = FindArgument(form.arguments, session.OsType(), required.key);
        const auto is_it = [&](const auto& key) { return key.key == required.key && key.value; };
        bool is_there = row != nullptr && std::ranges::any_of(keys, is_it);
        if (is_there && required.need == Required::kFilled) {
            const char* member = static_cast<const char*>(record) + row->offset;
            is_there = std::any_of(member, member + row->width, [](char byte) { return byte; });
        }
        if (!is_there) return Refuse(session, required.missing);
    }
    return 0;
}

int BuildRequest(ZwMgmt_interface& session, const Client_Request_Message* request,
                 _Message* message, const RequestForm& form, void* record) {
    const auto keys = KeysOf(request);
    if (const int refused = ReadArguments(session, keys, form, record)) return refused;
    if (const int refused = CheckRequired(session, keys, form, record)) return refused;
    return Fill(session, message, form.service, form.command, record, form.record_size);
}

const Argument* FindArgument(std::span<const Argument> rows, uint8_t os_type, int key) {
    const auto row = std::ranges::find_if(rows, [&](const Argument& argument) {
        return argument.systems.Has(os_type) && argument.key == key;
    });
    return row != rows.end() ? &*row : nullptr;
}

std::string WordList(std::span<const Word> words) {
    std::string text;
    for (const Word& word : words) {
        if (!text.empty()) text += ", ";
        text += word.word;
    }
    return text;
}

std::string TakenBy(const Argument& row) {
    const Rule& rule = row.rule;
    const bool of_text = row.form == Form::kText || row.form == Form::kName;
    if (row.takes != nullptr && !of_text) return row.takes;
    switch (row.form) {
        case Form::kFlag:
            return "one digit, " +
                   (rule.HasRange() ? RangeText(rule.least, rule.most) : RangeText(0, 1));
        case Form::kText:
        case Form::kName:
            if (rule.HasRange()) return RangeText(rule.least, rule.most);
            return std::string(row.takes) + " of at most " + std::to_string(row.width) +
                   " characters";
        case Form::kLow16: return RangeText(0, 0xFFFF);
        case Form::kNumber:
        case Form::kLowByte:
        case Form::kNumberText:
        case Form::kNothing:
            if (!rule.HasRange()) return RangeOfMember(row);
            if (rule.most >= kHighest31) return "a number from " + std::to_string(rule.least);
            return RangeText(rule.least, rule.most);
        case Form::kWord: return WordList(row.words);
        case Form::kMasked:
            return "number[:mask] of " + std::to_string(BitsOf(row)) +
                   (rule.most == 1 ? " bit" : " bits");
        case Form::kAddress: return "an IPv4 or IPv6 address, or address/length";
        case Form::kMac: return "12 hexadecimal digits, pairs separated by : or - or not at all";
        case Form::kSpeedDuplex: return "auto, or Mb/s and duplex: 1000-Full";
        case Form::kAdvertise: return "link modes: 100baseT/Full|1000baseT/Full, or auto";
        case Form::kFile:
        case Form::kOther: break;
    }
    return "";
}

}  // namespace zwmgmt
