/// The lines that a person has typed at the shell's prompt, kept in a file of the user's.
#pragma once

#include <string>
#include <vector>

namespace zwcli {

class ShellHistory {
  public:
    /// Reads the file; says what is wrong with it. Then it is not written, either.
    ShellHistory();

    /// The oldest first.
    const std::vector<std::string>& Lines() const { return lines; }

    /// False for a line that is not kept: it begins with a blank, or is the last once more.
    bool Add(const std::string& line);

  private:
    std::string Read();
    std::string Shorten() const;

    std::string file;  // "": none
    std::vector<std::string> lines;
};

}  // namespace zwcli
