/// What a terminal makes of an agent's text.
#pragma once

#include <cstdint>
#include <string_view>

namespace zwmgmt {

/// The first character of a text in UTF-8; where there is none, the first byte.
inline std::string_view FirstCharacter(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(0);
    const size_t length = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
    if (length > text.size()) return text.substr(0, 1);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return text.substr(0, 1);
    }
    // Overlong forms, surrogates, and what is beyond the last character.
    const bool wrong =
        length > 2 && ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                       (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F));
    return text.substr(0, wrong ? 1 : length);
}

/// Whether a character, as FirstCharacter gives it, commands a terminal: the sets C0 and C1, the
/// latter also as bare bytes.
inline bool IsControl(std::string_view character) {
    const auto first = static_cast<uint8_t>(character[0]);
    if (character.size() == 1) return first < 0x20 || (0x7F <= first && first <= 0x9F);
    return first == 0xC2 && static_cast<uint8_t>(character[1]) <= 0x9F;
}

}  // namespace zwmgmt
