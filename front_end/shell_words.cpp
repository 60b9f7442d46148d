#include "front_end/shell_words.h"

#include <algorithm>

namespace zwcli {
namespace {

class Splitter {
  public:
    explicit Splitter(std::string_view whole_line) : line(whole_line) {}

    std::string Split(std::vector<std::string>* words, std::vector<WordPlace>* places) {
        std::string wrong;
        for (SkipBlanks(); wrong.empty() && at < line.size() && line[at] != '#'; SkipBlanks()) {
            const size_t begin = at;
            wrong = TakeWord(&words->emplace_back());
            if (places != nullptr) places->push_back({begin, std::min(at, line.size())});
        }
        return wrong;
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

std::string SplitWords(std::string_view line, std::vector<std::string>* words,
                       std::vector<WordPlace>* places) {
    return Splitter(line).Split(words, places);
}

std::string Quoted(std::string_view text) {
    if (!text.empty() && text.find_first_of(" \t'\"\\#") == text.npos) return std::string(text);
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + "'";
}

bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && (word[1] < '0' || word[1] > '9');
}

}  // namespace zwcli
