#include "cli/fields.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

constexpr size_t kLongestText = 255;

bool IsOn(const void* record, const Field& field) {
    if (field.type == FieldType::kText) return TextOf(record, field).starts_with('1');
    return IntegerOf(record, field) != 0;
}

/// The decimal number at the beginning of a text; 0 without one.
int NumberIn(std::string_view text) {
    int number = 0;
    text.remove_prefix(std::min(text.find_first_not_of(" "), text.size()));
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

void PrintText(ZwMgmt_interface& session, const char* line, std::string_view agents_text) {
    char text[kLongestText + 1];
    SetFixedText(text, agents_text.substr(0, kLongestText));
    // An agent's text may not forge further lines, nor command the terminal.
    for (char* c = text; *c != '\0'; ++c) {
        if (std::iscntrl(static_cast<unsigned char>(*c))) *c = '?';
    }
    session.PrintOutput(line, text);
}

/// Prints nothing for a flag without a word.
void PrintFlag(ZwMgmt_interface& session, const Field& field, std::string_view flag) {
    const size_t digit = flag.empty() ? field.words.size() : static_cast<size_t>(flag[0]) - '0';
    if (digit < field.words.size() && field.words[digit] != nullptr) {
        session.PrintOutput(field.line, field.words[digit]);
    }
}

}  // namespace

void PrintField(ZwMgmt_interface& session, const void* record, const Field& field) {
    if (field.off != nullptr) {
        session.PrintOutput(field.line, IsOn(record, field) ? field.on : field.off);
    } else if (!field.words.empty()) {
        PrintFlag(session, field, TextOf(record, field));
    } else if (field.as_number) {
        session.PrintOutput(field.line, NumberIn(TextOf(record, field)));
    } else if (field.type == FieldType::kText) {
        PrintText(session, field.line, TextOf(record, field));
    } else if (field.width == sizeof(long long)) {
        session.PrintOutput(field.line, static_cast<long long>(IntegerOf(record, field)));
    } else {
        session.PrintOutput(field.line, static_cast<int>(IntegerOf(record, field)));
    }
}

}  // namespace zwmgmt
