/// Questions about texts, without regard to locale.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace zwmgmt {

inline char ToLower(char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline bool IsAllDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

/// One whole decimal number in 32 bits with sign.
inline bool ParseDecimal(std::string_view text, int32_t* number) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), *number);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
}

inline bool SameIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, ToLower, ToLower);
}

inline bool HasIgnoringCase(std::string_view text, std::string_view word) {
    const auto same = [](char a, char b) { return ToLower(a) == ToLower(b); };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), same) != text.end() ||
           word.empty();
}

inline bool EndsIgnoringCase(std::string_view text, std::string_view word) {
    return text.size() >= word.size() &&
           SameIgnoringCase(text.substr(text.size() - word.size()), word);
}

}  // namespace zwmgmt
