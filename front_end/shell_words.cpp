#include "front_end/shell_words.h"

namespace zwcli {
namespace {

class Splitter {
  public:
    explicit Splitter(std::string_view whole_line) : line(whole_line) {}

    std::string Split(std::vector<std::string>* words) {
        for (SkipBlanks(); at < line.size() && line[at] != '#'; SkipBlanks()) {
            if (std::string wrong = TakeWord(&words->emplace_back()); !wrong.empty()) return wrong;
        }
        return "";
    }

  private:
    static bool IsBlank(char c) { return c == ' ' || c == '\t'; }

    void SkipBlanks() {
        while (at < line.size() && IsBlank(line[at])) ++at;
    }

    std::string TakeWord(std::string* word) {
        while (at < line.size() && !IsBlank(line[at])) {
            const char c = line[at++];
            if (c == '\'' || c == '"') {
                const size_t begin = at;
                if (!TakeQuoted(c, word)) {
                    return "the quote in column " + std::to_string(begin) + " has no end";
                }
            } else if (c != '\\') {
                word->push_back(c);
            } else if (at < line.size()) {
                word->push_back(line[at++]);
            } else {
                return "a backslash at the end: a command is one line";
            }
        }
        return "";
    }

    /// False where the line ends first.
    bool TakeQuoted(char quote, std::string* word) {
        for (; at < line.size() && line[at] != quote; ++at) {
            const bool escapes = quote == '"' && line[at] == '\\' && at + 1 < line.size() &&
                                 std::string_view("\"\\$`").find(line[at + 1]) != line.npos;
            if (escapes) ++at;
            word->push_back(line[at]);
        }
        return at++ < line.size();
    }

    const std::string_view line;
    size_t at = 0;
};

}  // namespace

std::string SplitWords(std::string_view line, std::vector<std::string>* words) {
    return Splitter(line).Split(words);
}

}  // namespace zwcli
