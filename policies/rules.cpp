#include "policies/rules.h"

#include <algorithm>

namespace zwmgmt::policy {
namespace {

bool IsBlank(char c) { return c == ' ' || ('\t' <= c && c <= '\r'); }

}  // namespace

bool RuleReader::Next() {
    while (next < text.size()) {
        Take();
        if (std::ranges::all_of(rule, IsBlank)) continue;
        ++number;
        return true;
    }
    return false;
}

/// The pieces up to the end of a rule.
void RuleReader::Take() {
    pieces.clear();
    joined.clear();
    rule = {};
    for (;;) {
        const size_t begin = next;
        const size_t end = FindFirst(layout == Layout::kPlain ? "#;\n" : "#;\n\r", begin);
        const std::string_view piece = text.substr(begin, end - begin);
        if (pieces.empty()) {
            rule = piece;
        } else {
            if (joined.empty()) joined = rule;
            joined.append(piece);
            rule = joined;
        }
        // Blanks need no place of their own: words alone are asked for.
        if (pieces.empty() || !std::ranges::all_of(piece, IsBlank)) {
            pieces.push_back({rule.size() - piece.size(), begin});
        }
        if (end < text.size() && text[end] == ';') {
            next = end + 1;
            return;
        }
        next = BehindLine(end);
        if (layout == Layout::kPlain) return;
        while (next < text.size() && text[next] == '#') next = BehindLine(next);
        if (next == text.size() || (text[next] != ' ' && text[next] != '\t')) return;
    }
}

size_t RuleReader::FindFirst(const char* characters, size_t from) const {
    return std::min(text.find_first_of(characters, from), text.size());
}

/// Behind the end of the line.
size_t RuleReader::BehindLine(size_t at) const {
    const size_t end = FindFirst(layout == Layout::kPlain ? "\n" : "\n\r", at);
    return std::min(end + (text.substr(end, 2) == "\r\n" ? 2 : 1), text.size());
}

size_t RuleReader::PlaceOf(size_t offset) const {
    if (offset >= rule.size()) {
        size_t last = rule.size();
        while (last > 0 && IsBlank(rule[last - 1])) --last;
        return last == 0 ? pieces.front().in_text : PlaceOf(last - 1) + 1;
    }
    const auto behind = std::ranges::upper_bound(pieces, offset, {}, &Piece::in_rule);
    const Piece& piece = behind == pieces.begin() ? *behind : behind[-1];
    return piece.in_text + (offset - piece.in_rule);
}

}  // namespace zwmgmt::policy
