/// Lines that a person types at the terminal of this process.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zwmgmt::platform {

/// What could stand in the line from `begin` to the cursor.
struct Candidates {
    size_t begin = 0;
    std::vector<std::string> texts;  // one that ends in '=' or '/' goes on
};

enum class Read {
    kLine,
    kGivenUp,  // by Ctrl-C
    kEnd,      // of input
};

/// Reads standard input and shows on standard error. On POSIX the line is edited, former lines come
/// back with the arrow keys, and Tab completes; on Windows the console does the first two.
class LineEditor {
  public:
    /// line: up to the cursor.
    using Complete = std::function<Candidates(const std::string& line)>;

    LineEditor(const std::string& prompt, Complete complete);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /// A line without its end.
    Read ReadLine(std::string* line);
    /// Lets a line come back.
    void Remember(const std::string& line);

  private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};

}  // namespace zwmgmt::platform
