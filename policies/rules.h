/// The rules of a text: where each begins and ends, and where its words lie.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zwmgmt::policy {

/// Plain: rules end with a line feed. Continued, as in files: lines end with LF, CR or both, and
/// one that begins with a blank belongs to the rule before it; lines that are comments alone do not
/// part them. In both ";" ends a rule as well, and "#" begins a comment.
enum class Layout { kPlain, kContinued };

class RuleReader {
  public:
    RuleReader(std::string_view whole_text, Layout text_layout)
        : text(whole_text), layout(text_layout) {}

    /// Goes to the next rule that has a word. False behind the last.
    bool Next();

    /// Its text, with its lines joined and without comments.
    std::string_view Rule() const { return rule; }

    /// From 1.
    size_t Number() const { return number; }

    /// Where in the whole text something of the rule lies; what is at or behind its end: the place
    /// behind its last word.
    size_t PlaceOf(size_t offset) const;

  private:
    /// A part of a line, without its comment.
    struct Piece {
        size_t in_rule;
        size_t in_text;
    };

    void Take();
    size_t FindFirst(const char* characters, size_t from) const;
    size_t BehindLine(size_t at) const;

    const std::string_view text;
    const Layout layout;
    size_t next = 0;
    size_t number = 0;
    std::string_view rule;
    std::string joined;  // where the rule has several pieces
    std::vector<Piece> pieces;
};

}  // namespace zwmgmt::policy
