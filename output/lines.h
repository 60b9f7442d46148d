/// Taking the texts apart that agents send in place of records.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

namespace zwmgmt {

/// Calls `each` with every piece that is not empty.
template <class Each>
void ForEachPiece(std::string_view text, char separator, Each each) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find(separator));
        if (!piece.empty()) each(piece);
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
    }
}

/// The lines of a block up to its first zero byte.
template <class Each>
void ForEachLine(const void* data, uint32_t length, Each each) {
    const std::string_view whole(static_cast<const char*>(data), length);
    ForEachPiece(whole.substr(0, whole.find('\0')), '\n', each);
}

/// What is before and behind the first ": "; a text without one is all before.
inline std::pair<std::string_view, std::string_view> Halves(std::string_view text) {
    constexpr std::string_view kSeparator = ": ";
    const size_t end = std::min(text.find(kSeparator), text.size());
    return {text.substr(0, end), text.substr(std::min(end + kSeparator.size(), text.size()))};
}

}  // namespace zwmgmt
