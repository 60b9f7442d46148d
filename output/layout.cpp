#include "output/layout.h"

#include <algorithm>
#include <charconv>

#include "output/characters.h"
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
void PrintFlag(ZwMgmt_interface& session, const Line& line, std::string_view flag) {
    const auto words = line.wording.flags;
    const size_t digit = flag.empty() ? words.size() : static_cast<size_t>(flag[0]) - '0';
    if (digit < words.size()) session.PrintOutput(line.format, words[digit]);
}

void PrintTextLine(ZwMgmt_interface& session, const void* record, const Line& line) {
    const std::string_view text = TextOf(record, *line.field);
    if (!line.wording.flags.empty()) {
        PrintFlag(session, line, text);
    } else if (line.as_number) {
        session.PrintOutput(line.format, NumberIn(text));
    } else if (text.empty() && line.wording.empty != nullptr) {
        session.PrintOutput(line.format, line.wording.empty);
    } else {
        PrintText(session, line.format, text);
    }
}

}  // namespace

void PrintLine(ZwMgmt_interface& session, const void* record, const Line& line) {
    const Field& field = *line.field;
    if (line.format == nullptr) {
        return;
    } else if (line.wording.off != nullptr) {
        session.PrintOutput(line.format, IsOn(record, field) ? line.wording.on : line.wording.off);
    } else if (field.type == FieldType::kText) {
        PrintTextLine(session, record, line);
    } else if (field.width == sizeof(long long)) {
        session.PrintOutput(line.format, static_cast<long long>(IntegerOf(record, field)));
    } else {
        session.PrintOutput(line.format, static_cast<int>(IntegerOf(record, field)));
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
