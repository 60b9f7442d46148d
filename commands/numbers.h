/// The numbers of arguments: each way in which one is read, named for what it accepts, and ranges
/// in words.
#pragma once

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace zwmgmt {

/// Nothing where the text is no such number. The text is terminated.
using NumberReader = std::optional<int64_t> (*)(std::string_view text);

/// One whole number that the type can hold, with "-" where it is signed.
template <class Integer>
std::optional<int64_t> WholeNumber(std::string_view text, int base = 10) {
    Integer number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    return whole ? std::optional<int64_t>(number) : std::nullopt;
}

template <class Integer>
std::optional<int64_t> Decimal(std::string_view text) {
    return WholeNumber<Integer>(text);
}

/// 32 bits with sign, but 0.
inline std::optional<int64_t> DecimalButZero(std::string_view text) {
    const auto number = WholeNumber<int32_t>(text);
    return number != 0 ? number : std::nullopt;
}

/// 31 bits; "-0" is one.
inline std::optional<int64_t> DecimalFromZero(std::string_view text) {
    const auto number = WholeNumber<int32_t>(text);
    return number >= 0 ? number : std::nullopt;
}

/// 32 bits without sign: 0x hexadecimal, 0 octal, otherwise decimal.
inline std::optional<int64_t> InCNotation(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        return WholeNumber<uint32_t>(text.substr(2), 16);
    }
    return WholeNumber<uint32_t>(text, text.starts_with('0') ? 8 : 10);
}

/// 31 bits, as C itself reads them: also after white space and a sign.
inline std::optional<int64_t> AsCReads(std::string_view text) {
    if (text.empty()) return {};
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.data(), &end, 0);
    const bool whole = end == text.data() + text.size() && errno == 0;
    const bool fits = 0 <= number && number <= std::numeric_limits<int32_t>::max();
    return whole && fits ? std::optional<int64_t>(number) : std::nullopt;
}

/// "0 or 1", "1 to 250".
inline std::string RangeText(int64_t least, int64_t most) {
    const std::string first = std::to_string(least);
    if (most == least) return first;
    return first + (most == least + 1 ? " or " : " to ") + std::to_string(most);
}

}  // namespace zwmgmt
