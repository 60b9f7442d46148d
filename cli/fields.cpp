#include "cli/fields.h"

#include <cctype>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

constexpr size_t kLongestText = 255;

bool IsOn(const void* record, const Field& field) {
    if (field.type == FieldType::kText) return TextOf(record, field).starts_with('1');
    return IntegerOf(record, field) != 0;
}

}  // namespace

void PrintField(ZwMgmt_interface& session, const void* record, const Field& field) {
    if (field.off != nullptr) {
        session.PrintOutput(field.line, IsOn(record, field) ? field.on : field.off);
    } else if (field.type == FieldType::kText) {
        char text[kLongestText + 1];
        SetFixedText(text, TextOf(record, field).substr(0, kLongestText));
        // An agent's text may not forge further lines, nor command the terminal.
        for (char* c = text; *c != '\0'; ++c) {
            if (std::iscntrl(static_cast<unsigned char>(*c))) *c = '?';
        }
        session.PrintOutput(field.line, text);
    } else if (field.width == sizeof(long long)) {
        session.PrintOutput(field.line, static_cast<long long>(IntegerOf(record, field)));
    } else {
        session.PrintOutput(field.line, static_cast<int>(IntegerOf(record, field)));
    }
}

}  // namespace zwmgmt
