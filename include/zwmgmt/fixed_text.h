/// Texts in fixed-width record fields: NUL-padded, and not terminated when they fill the field.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace zwmgmt {

/// The text in a field of `width` bytes: up to the first NUL or the field's
/// end. It lies in the field itself.
inline std::string_view FixedText(const void* field, size_t width) {
    if (width == 0) return {};
    const auto* begin = static_cast<const char*>(field);
    const auto* end = static_cast<const char*>(std::memchr(begin, '\0', width));
    return {begin, end != nullptr ? static_cast<size_t>(end - begin) : width};
}

/// The text in a field of a record: FixedText(card->card_name).
template <size_t Width>
std::string_view FixedText(const char (&field)[Width]) {
    return FixedText(field, Width);
}

/// Copies as much of the text as fits and fills the rest of the field with zeroes. A text of the
/// field's own width is stored without terminator.
inline void SetFixedText(void* field, size_t width, std::string_view text) {
    const size_t length = text.size() < width ? text.size() : width;
    if (length != 0) std::memcpy(field, text.data(), length);
    std::memset(static_cast<char*>(field) + length, 0, width - length);
}

/// The same into a field of a record.
template <size_t Width>
void SetFixedText(char (&field)[Width], std::string_view text) {
    SetFixedText(field, Width, text);
}

}  // namespace zwmgmt
