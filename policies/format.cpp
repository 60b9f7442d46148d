#include "policies/format.h"

#include <algorithm>

#include "policies/rules.h"
#include "policies/words.h"

namespace zwmgmt::policy {
namespace {

constexpr size_t kWidth = 80;
constexpr std::string_view kIndent = "    ";

class Formatter {
  public:
    explicit Formatter(std::string_view whole_text) : text(whole_text) {}

    std::string Run() {
        RuleReader rules(text, Layout::kContinued);
        while (rules.Next()) WriteRule(rules);
        Between(text.size());
        EndLine();
        return std::move(out);
    }

  private:
    /// Where a word of a rule stands among the others.
    struct Position {
        Words words;
        Mark before = Mark::kEnd;  // of the word before it
        std::string_view before_text;
        bool in_settings = false;

        void Advance() {
            before = words.Current().mark;
            before_text = words.Current().text;
            in_settings |= before == Mark::kArrow;
            words.Advance();
        }

        /// How the word is written, "" where it is left out.
        std::string_view Written() const {
            switch (words.Current().mark) {
                case Mark::kAnd: return "and";
                case Mark::kOr: return "or";
                case Mark::kNot: return in_settings ? "!" : "not";
                case Mark::kEqual: return "";
                default: return words.Current().text;
            }
        }

        bool IsGlued() const {
            return before == Mark::kEnd || before == Mark::kOpen || before == Mark::kSlash ||
                   (in_settings && before == Mark::kNot) || words.Is(Mark::kClose) ||
                   words.Is(Mark::kSlash);
        }

        /// Whether a line may begin with the word.
        bool MayBegin() const {
            if (before == Mark::kEnd || before == Mark::kNot) return false;
            switch (words.Current().mark) {
                case Mark::kAnd:
                case Mark::kOr: return before_text != "src";
                case Mark::kArrow:
                case Mark::kQuestion:
                case Mark::kColon:
                case Mark::kEnd: return true;
                case Mark::kName:
                case Mark::kNot:
                    return in_settings && before_text != "bind" && before_text != "cong" &&
                           before_text != "class";
                default: return false;
            }
        }
    };

    void WriteRule(const RuleReader& rules) {
        for (Position at = {.words = Words(rules.Rule()), .before_text = {}};
             !at.words.Is(Mark::kEnd); at.Advance()) {
            const Word& word = at.words.Current();
            const size_t place = rules.PlaceOf(word.column - 1);
            if (at.before == Mark::kEnd) {
                Between(place);
                EndLine();
                KeepEmptyLine();
            } else {
                Within(place);
            }
            WriteWord(at);
            reached = place + word.text.size();
            after_word = true;
        }
    }

    void WriteWord(const Position& at) {
        const std::string_view written = at.Written();
        if (written.empty()) return;
        if (line_is_closed || (at.MayBegin() && width + 1 + GroupWidth(at) > kWidth)) {
            EndLine();
            Add(kIndent);
        } else if (!at.IsGlued()) {
            Add(" ");
        }
        Add(written);
    }

    /// The width of what cannot be parted, from this word on.
    static size_t GroupWidth(Position at) {
        size_t group = 0;
        for (;;) {
            group += at.Written().size();
            at.Advance();
            if (at.MayBegin() || group > kWidth) return group;
            if (!at.Written().empty() && !at.IsGlued()) ++group;
        }
    }

    /// Between the words of a rule: comments alone count.
    void Within(size_t to) {
        ForEachComment(to, [&](std::string_view comment, bool own_line) {
            if (own_line) {
                EndLine();
                Add(kIndent);
            } else {
                Add(" ");
            }
            Add(comment);
            line_is_closed = true;
        });
    }

    /// Between rules: comments, and whether there are empty lines.
    void Between(size_t to) {
        ForEachComment(to, [&](std::string_view comment, bool own_line) {
            if (own_line) {
                EndLine();
                KeepEmptyLine();
            } else {
                Add(" ");
            }
            Add(comment);
        });
    }

    template <class Take>
    void ForEachComment(size_t to, Take take) {
        line_ends = 0;
        while (reached < to) {
            const char c = text[reached];
            if (c == '\n' || c == '\r') {
                reached += text.substr(reached, 2) == "\r\n" ? 2 : 1;
                after_word = false;
                ++line_ends;
            } else if (c == '#') {
                const size_t end = std::min(text.find_first_of("\n\r", reached), text.size());
                std::string_view comment = text.substr(reached, end - reached);
                comment = comment.substr(0, comment.find_last_not_of(" \t\v\f") + 1);
                take(comment, !after_word);
                reached = end;
                line_ends = 0;
            } else {
                ++reached;
            }
        }
    }

    void KeepEmptyLine() {
        if (line_ends > 1 && !out.empty()) out += '\n';
        line_ends = 0;
    }

    void Add(std::string_view more) {
        out += more;
        width += more.size();
    }

    void EndLine() {
        if (width > 0) out += '\n';
        width = 0;
        line_is_closed = false;
    }

    const std::string_view text;
    std::string out;
    size_t width = 0;             // of the line in the making
    bool line_is_closed = false;  // by a comment within a rule
    size_t reached = 0;           // in the text
    bool after_word = false;      // on its line
    size_t line_ends = 0;         // since the last word or comment
};

}  // namespace

std::string Format(std::string_view text) { return Formatter(text).Run(); }

}  // namespace zwmgmt::policy
