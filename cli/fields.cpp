#include "cli/fields.h"

#include <algorithm>
#include <charconv>

#include "cli/texts.h"
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
    size_t length = 0;
    for (auto left = agents_text.substr(0, kLongestText); !left.empty();) {
        const std::string_view character = FirstCharacter(left);
        left.remove_prefix(character.size());
        const std::string_view shown = IsControl(character) ? "?" : character;
        length += shown.copy(text + length, shown.size());
    }
    text[length] = '\0';
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
    size_t harmless = 0;
    const auto print = [&](const char* instead) {
        session.PrintOutput("%.*s%s", static_cast<int>(harmless), text.data(), instead);
        text.remove_prefix(harmless);
        harmless = 0;
    };
    while (harmless < text.size()) {
        const std::string_view character = FirstCharacter(text.substr(harmless));
        if (!IsControl(character) || character == "\n" || character == "\t") {
            harmless += character.size();
            continue;
        }
        print("?");
        text.remove_prefix(character.size());
    }
    print("");
}

void PrintLines(ZwMgmt_interface& session, std::string_view text) {
    PrintAgentText(session, text);
    if (!text.empty() && !text.ends_with('\n')) session.PrintOutput("\n");
}

}  // namespace zwmgmt
