/// The words of a rule, one after the other.
#pragma once

#include <cstdint>
#include <string_view>

namespace zwmgmt::policy {

enum class Mark : uint8_t {
    kEnd,
    kName,     // letters, digits and "_", beginning with a letter
    kNumber,   // decimal, 0x hexadecimal
    kAddress,  // a dotted quad
    kOpen,     // (
    kClose,    // )
    kNot,      // ! not
    kAnd,      // and &&
    kOr,       // or ||
    kQuestion,
    kColon,
    kMask,  // &
    kSlash,
    kLess,
    kLessOrEqual,
    kGreater,
    kGreaterOrEqual,
    kEqual,  // = ==
    kNotEqual,
    kArrow,  // =>
    kUnknown,
};

struct Word {
    Mark mark = Mark::kEnd;
    std::string_view text;  // of the rule; "" at its end
    size_t column = 1;      // from 1
    uint32_t number = 0;    // of a number, or of an address with its first octet highest
};

class Words {
  public:
    explicit Words(std::string_view rule_text) : rule(rule_text) { Advance(); }

    const Word& Current() const { return word; }
    bool Is(Mark mark) const { return word.mark == mark; }
    bool IsName(std::string_view name) const {
        return word.mark == Mark::kName && word.text == name;
    }
    void Advance();

    /// The word behind the current one.
    Word Peek() const;

  private:
    void ReadName();
    void ReadNumber();
    void ReadOperator();
    void Take(Mark mark, size_t length);

    std::string_view rule;
    size_t next = 0;
    Word word;
};

}  // namespace zwmgmt::policy
