#include "policies/words.h"

#include <charconv>

namespace zwmgmt::policy {
namespace {

enum Class : uint8_t { kOther, kLetter, kDigit, kBlank };

struct Classes {
    constexpr Classes() {
        for (int c = 'a'; c <= 'z'; ++c) of[c] = of[c - 'a' + 'A'] = kLetter;
        of[int{'_'}] = kLetter;
        for (int c = '0'; c <= '9'; ++c) of[c] = kDigit;
        for (int c = '\t'; c <= '\r'; ++c) of[c] = kBlank;
        of[int{' '}] = kBlank;
    }
    Class of[256] = {};
};

constexpr Classes kClasses;

Class ClassOf(char c) { return kClasses.of[static_cast<unsigned char>(c)]; }
bool IsLetter(char c) { return ClassOf(c) == kLetter; }
bool IsDigit(char c) { return ClassOf(c) == kDigit; }
bool IsBlank(char c) { return ClassOf(c) == kBlank; }
bool IsWordPart(char c) { return IsLetter(c) || IsDigit(c); }

struct OperatorRow {
    std::string_view text;
    Mark mark;
};

// The longer ones first.
constexpr OperatorRow kOperators[] = {
    {"=>", Mark::kArrow},
    {"==", Mark::kEqual},
    {"!=", Mark::kNotEqual},
    {"<=", Mark::kLessOrEqual},
    {">=", Mark::kGreaterOrEqual},
    {"&&", Mark::kAnd},
    {"||", Mark::kOr},
    {"(", Mark::kOpen},
    {")", Mark::kClose},
    {"!", Mark::kNot},
    {"?", Mark::kQuestion},
    {":", Mark::kColon},
    {"&", Mark::kMask},
    {"/", Mark::kSlash},
    {"<", Mark::kLess},
    {">", Mark::kGreater},
    {"=", Mark::kEqual},
};

/// Four octets; false for any other text.
bool ParseQuad(std::string_view text, uint32_t* address) {
    const char* at = text.data();
    const char* end = at + text.size();
    uint32_t result = 0;
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && (at == end || *at++ != '.')) return false;
        uint8_t octet = 0;
        const auto parsed = std::from_chars(at, end, octet);
        if (parsed.ec != std::errc() || parsed.ptr - at > 3) return false;
        at = parsed.ptr;
        result = result << 8 | octet;
    }
    *address = result;
    return at == end;
}

}  // namespace

void Words::Take(Mark mark, size_t length) {
    word.mark = mark;
    word.text = rule.substr(next, length);
    next += length;
}

void Words::Advance() {
    while (next < rule.size() && IsBlank(rule[next])) ++next;
    word.column = next + 1;
    word.number = 0;
    if (next == rule.size()) {
        Take(Mark::kEnd, 0);
    } else if (IsLetter(rule[next])) {
        ReadName();
    } else if (IsDigit(rule[next])) {
        ReadNumber();
    } else {
        ReadOperator();
    }
}

Word Words::Peek() const {
    Words ahead = *this;
    ahead.Advance();
    return ahead.word;
}

void Words::ReadName() {
    size_t end = next;
    while (end < rule.size() && IsWordPart(rule[end])) ++end;
    Take(Mark::kName, end - next);
    if (word.text == "and") word.mark = Mark::kAnd;
    if (word.text == "or") word.mark = Mark::kOr;
    if (word.text == "not") word.mark = Mark::kNot;
}

void Words::ReadNumber() {
    size_t end = next;
    bool dots = false;
    while (end < rule.size() && (IsWordPart(rule[end]) || rule[end] == '.')) {
        dots |= rule[end++] == '.';
    }
    Take(Mark::kUnknown, end - next);
    if (dots) {
        if (ParseQuad(word.text, &word.number)) word.mark = Mark::kAddress;
        return;
    }
    const bool hexadecimal = word.text.starts_with("0x") || word.text.starts_with("0X");
    const char* begin = word.text.data() + (hexadecimal ? 2 : 0);
    const char* last = word.text.data() + word.text.size();
    const auto parsed = std::from_chars(begin, last, word.number, hexadecimal ? 16 : 10);
    if (parsed.ec == std::errc() && parsed.ptr == last) word.mark = Mark::kNumber;
}

void Words::ReadOperator() {
    const std::string_view rest = rule.substr(next);
    for (const OperatorRow& row : kOperators) {
        if (row.text[0] == rest[0] && rest.starts_with(row.text)) {
            return Take(row.mark, row.text.size());
        }
    }
    Take(Mark::kUnknown, 1);
}

}  // namespace zwmgmt::policy
