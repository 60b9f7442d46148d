#include "platform/terminal.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>

#include "platform/wipe.h"

namespace zwmgmt::platform {
namespace {

// Reserved at once, so that no half-read password stays behind in freed memory.
constexpr size_t kLongestLine = 1024;

}  // namespace

void PrepareStandardStreams() {}  // they are so

bool StandardInputIsTerminal() { return isatty(STDIN_FILENO) == 1; }

std::optional<std::string> ReadPassword(const char* prompt) {
    termios saved;
    if (tcgetattr(STDIN_FILENO, &saved) != 0) return std::nullopt;
    // The interrupt key is read like any other, as the end of the line: a process that dies here
    // would leave the terminal without echo.
    termios silent = saved;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    silent.c_cc[VEOL] = saved.c_cc[VINTR];
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    std::fputs(prompt, stderr);

    std::string line;
    line.reserve(kLongestLine);
    bool given_up = false;
    for (char c = 0; c != '\n' && !given_up;) {
        given_up = read(STDIN_FILENO, &c, 1) != 1 || c == static_cast<char>(saved.c_cc[VINTR]) ||
                   line.size() == kLongestLine;
        if (!given_up && c != '\n') line.push_back(c);
    }

    tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    std::fputc('\n', stderr);
    if (given_up) {
        Wipe(line.data(), line.size());
        return std::nullopt;
    }
    return line;
}

}  // namespace zwmgmt::platform
