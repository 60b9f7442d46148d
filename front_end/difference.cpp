#include "front_end/difference.h"

#include <algorithm>
#include <sstream>

namespace zwcli {
namespace {

using Lines = std::vector<std::string>;

/// A line of either text: ' ' in both, '-' or '+' in one.
struct Edit {
    char sign;
    size_t before;  // lines of the texts that come earlier
    size_t after;
};

constexpr size_t kContext = 3;
/// Texts with more to change than this are taken to have nothing in common in between.
constexpr int kMostEdits = 2000;

/// For every number of edits d, how far the first text can be followed on each diagonal from -d to
/// d (Myers, "An O(ND) Difference Algorithm"); empty when there are too many.
std::vector<std::vector<int>> Furthest(const Lines& before, const Lines& after) {
    const int n = static_cast<int>(before.size());
    const int m = static_cast<int>(after.size());
    std::vector<std::vector<int>> steps;
    for (int d = 0; d <= std::min(n + m, kMostEdits); ++d) {
        std::vector<int> reached(static_cast<size_t>(2 * d + 1));
        for (int k = -d; k <= d; k += 2) {
            const auto earlier = [&](int diagonal) {
                return steps.back()[static_cast<size_t>(diagonal + d - 1)];
            };
            const bool down = d > 0 && (k == -d || (k != d && earlier(k - 1) < earlier(k + 1)));
            int x = d == 0 ? 0 : down ? earlier(k + 1) : earlier(k - 1) + 1;
            while (x < n && x - k < m &&
                   before[static_cast<size_t>(x)] == after[static_cast<size_t>(x - k)]) {
                ++x;
            }
            reached[static_cast<size_t>(k + d)] = x;
            if (k == n - m && x >= n) {
                steps.push_back(std::move(reached));
                return steps;
            }
        }
        steps.push_back(std::move(reached));
    }
    return {};
}

/// The edits that make the second text of the first.
std::vector<Edit> EditsOf(const Lines& before, const Lines& after) {
    std::vector<Edit> edits;
    const auto steps = Furthest(before, after);
    size_t x = before.size();
    size_t y = after.size();
    for (int d = static_cast<int>(steps.size()) - 1; d > 0; --d) {
        const int k = static_cast<int>(x) - static_cast<int>(y);
        const auto earlier = [&](int diagonal) {
            return steps[static_cast<size_t>(d - 1)][static_cast<size_t>(diagonal + d - 1)];
        };
        const bool down = k == -d || (k != d && earlier(k - 1) < earlier(k + 1));
        const auto from_x = static_cast<size_t>(earlier(down ? k + 1 : k - 1));
        const auto from_y = static_cast<size_t>(static_cast<int>(from_x) - (down ? k + 1 : k - 1));
        const size_t edited_x = down ? from_x : from_x + 1;
        for (; x > edited_x; --x, --y) edits.push_back({' ', x - 1, y - 1});
        edits.push_back({down ? '+' : '-', from_x, from_y});
        x = from_x;
        y = from_y;
    }
    if (steps.empty()) {
        for (; y > 0; --y) edits.push_back({'+', x, y - 1});
        for (; x > 0; --x) edits.push_back({'-', x - 1, 0});
    }
    for (; x > 0; --x, --y) edits.push_back({' ', x - 1, y - 1});
    std::ranges::reverse(edits);
    return edits;
}

/// "3,4": the first line and how many, as diff counts them.
std::string Extent(size_t first, size_t count) {
    const std::string number = std::to_string(count == 0 ? first : first + 1);
    return count == 1 ? number : number + "," + std::to_string(count);
}

}  // namespace

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        while (line.ends_with('\r')) line.pop_back();
        lines.push_back(line.substr(line.rfind('\r') + 1));
    }
    return lines;
}

std::vector<bool> NewLines(const std::string& before, const std::string& after) {
    const Lines lines = LinesOf(after);
    std::vector<bool> is_new(lines.size());
    for (const Edit& edit : EditsOf(LinesOf(before), lines)) {
        if (edit.sign == '+') is_new[edit.after] = true;
    }
    return is_new;
}

std::string UnifiedDifference(const TitledText& before, const TitledText& after) {
    const Lines old_lines = LinesOf(before.text);
    const Lines new_lines = LinesOf(after.text);
    const std::vector<Edit> edits = EditsOf(old_lines, new_lines);
    const auto is_change = [](const Edit& edit) { return edit.sign != ' '; };
    std::string text;
    for (auto at = std::ranges::find_if(edits, is_change); at != edits.end();) {
        // Changes with at most twice the context in between are told together.
        auto last = at;
        auto next = at;
        for (; next != edits.end() && next - last <= static_cast<int>(2 * kContext) + 1;
             next = std::find_if(next + 1, edits.end(), is_change)) {
            last = next;
        }
        const auto begin = at - std::min<std::ptrdiff_t>(kContext, at - edits.begin());
        const auto end = last + 1 + std::min<std::ptrdiff_t>(kContext, edits.end() - last - 1);
        std::string hunk;
        size_t old_count = 0, new_count = 0;
        for (auto edit = begin; edit != end; ++edit) {
            const bool added = edit->sign == '+';
            old_count += !added;
            new_count += edit->sign != '-';
            hunk += edit->sign + (added ? new_lines[edit->after] : old_lines[edit->before]) + "\n";
        }
        text += "@@ -" + Extent(begin->before, old_count) + " +" + Extent(begin->after, new_count) +
                " @@\n" + hunk;
        at = next;
    }
    return text.empty() ? "" : "--- " + before.title + "\n+++ " + after.title + "\n" + text;
}

}  // namespace zwcli
