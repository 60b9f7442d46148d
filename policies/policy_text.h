/// The texts of files about policies, and places in them.
#pragma once

#include <string>
#include <string_view>

namespace zwmgmt::policy {

/// File: regular files alone. Any: pipes as well, and "-" is standard input.
enum class Source { kFile, kAny };

constexpr size_t kLargestText = 64u << 20;

/// Reads a file whole, without a byte-order mark of UTF-8. False with the reason where that does
/// not go, it is larger than kLargestText, or it is no text.
bool ReadText(const char* name, Source source, std::string* text, std::string* reason);

/// Lines and columns count from 1; columns are characters.
struct Place {
    size_t line = 1;
    size_t column = 1;
};

/// Finds the places of offsets that grow from call to call in one pass.
class Places {
  public:
    explicit Places(std::string_view whole_text) : text(whole_text) {}
    Place Of(size_t offset);

  private:
    const std::string_view text;
    size_t reached = 0;
    Place place;
};

/// A line of the text, or a part of it, and a mark under the `length` bytes from the offset on.
struct MarkedLine {
    std::string line;
    std::string mark;
};
MarkedLine MarkIn(std::string_view text, size_t offset, size_t length);

/// At most so many characters of a text, for a terminal.
std::string Shown(std::string_view text, size_t most);

}  // namespace zwmgmt::policy
