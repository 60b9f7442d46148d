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

/// An agent's text may not forge further lines, nor command the terminal.
void PrintText(ZwMgmt_interface& session, const char* line, std::string_view agents_text) {
    char text[kLongestText + 1];
    SetFixedText(text, agents_text.substr(0, kLongestText));
    for (char* c = text; *c != '\0'; ++c) {
        if (std::iscntrl(static_cast<unsigned char>(*c))) *c = '?';
    }
    session.PrintOutput(line, text);
}

/// Prints nothing for a flag without a word.
void PrintFlag(ZwMgmt_interface& session, const Field& field, std::string_view flag) {
    const auto words = field.wording.flags;
    const size_t digit = flag.empty() ? words.size() : static_cast<size_t>(flag[0]) - '0';
    if (digit < words.size()) session.PrintOutput(field.line, words[digit]);
}

void PrintTextField(ZwMgmt_interface& session, const void* record, const Field& field) {
    const std::string_view text = TextOf(record, field);
    if (!field.wording.flags.empty()) {
        PrintFlag(session, field, text);
    } else if (field.as_number) {
        session.PrintOutput(field.line, NumberIn(text));
    } else if (text.empty() && field.wording.empty != nullptr) {
        session.PrintOutput(field.line, field.wording.empty);
    } else {
        PrintText(session, field.line, text);
    }
}

}  // namespace

void PrintField(ZwMgmt_interface& session, const void* record, const Field& field) {
    if (field.wording.off != nullptr) {
        session.PrintOutput(field.line, IsOn(record, field) ? field.wording.on : field.wording.off);
    } else if (field.type == FieldType::kText) {
        PrintTextField(session, record, field);
    } else if (field.width == sizeof(long long)) {
        session.PrintOutput(field.line, static_cast<long long>(IntegerOf(record, field)));
    } else {
        session.PrintOutput(field.line, static_cast<int>(IntegerOf(record, field)));
    }
}

void PrintAgentText(ZwMgmt_interface& session, std::string_view text) {
    const auto harmless = [](char c) {
        return c == '\n' || c == '\t' || !std::iscntrl(static_cast<unsigned char>(c));
    };
    while (!text.empty()) {
        const auto* end = std::find_if_not(text.begin(), text.end(), harmless);
        const auto length = static_cast<size_t>(end - text.begin());
        session.PrintOutput("%.*s%s", static_cast<int>(length), text.data(),
                            length < text.size() ? "?" : "");
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

void PrintLines(ZwMgmt_interface& session, std::string_view text) {
    PrintAgentText(session, text);
    if (!text.empty() && !text.ends_with('\n')) session.PrintOutput("\n");
}

}  // namespace zwmgmt
