/// Questions about texts, without regard to locale.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace zwmgmt {

inline char ToLower(char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline bool IsAllDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

inline bool SameIgnoringCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, ToLower, ToLower);
}

inline bool HasIgnoringCase(std::string_view text, std::string_view word) {
    const auto same = [](char a, char b) { return ToLower(a) == ToLower(b); };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), same) != text.end() ||
           word.empty();
}

/// The word "--name=" of a command line, which an option parser would give the next word as its
/// value; null where there is none.
inline const char* FindEmptyOption(int argc, const char* const* argv) {
    for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
        const std::string_view word = argv[i];
        if (word.starts_with("--") && word.find('=') == word.size() - 1) return argv[i];
    }
    return nullptr;
}

inline bool EndsIgnoringCase(std::string_view text, std::string_view word) {
    return text.size() >= word.size() &&
           SameIgnoringCase(text.substr(text.size() - word.size()), word);
}

}  // namespace zwmgmt
