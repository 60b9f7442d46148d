#include "platform/terminal.h"

#include <windows.h>

#include <cstdio>

#include "platform/wipe.h"

namespace zwmgmt::platform {
namespace {

constexpr size_t kLongestLine = 1024;

constexpr wchar_t kInterrupt = 3;
constexpr wchar_t kBackspace = 8;

/// Reads characters up to the end of the line; false when it is given up.
bool ReadLine(HANDLE console, wchar_t (&line)[kLongestLine], int* length) {
    for (*length = 0;;) {
        wchar_t c = 0;
        DWORD got = 0;
        if (!ReadConsoleW(console, &c, 1, &got, nullptr) || got == 0 || c == kInterrupt) {
            return false;
        }
        if (c == L'\r' || c == L'\n') return true;
        if (c == kBackspace) {
            if (*length > 0) --*length;
        } else if (*length < static_cast<int>(kLongestLine)) {
            line[(*length)++] = c;
        } else {
            return false;
        }
    }
}

}  // namespace

bool StandardInputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != FALSE;
}

std::optional<std::string> ReadPassword(const char* prompt) {
    if (!StandardInputIsTerminal()) return std::nullopt;
    // Opened anew: standard input need not allow to change the mode.
    const HANDLE console = CreateFileA("CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                       nullptr, OPEN_EXISTING, 0, nullptr);
    if (console == INVALID_HANDLE_VALUE) return std::nullopt;
    // Character by character, unechoed, the interrupt key among them.
    constexpr DWORD kCooked = ENABLE_ECHO_INPUT | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT;
    DWORD saved = 0;
    if (!GetConsoleMode(console, &saved) || !SetConsoleMode(console, saved & ~kCooked)) {
        CloseHandle(console);
        return std::nullopt;
    }
    FlushConsoleInputBuffer(console);
    std::fputs(prompt, stderr);

    wchar_t line[kLongestLine];
    int length = 0;
    std::optional<std::string> password;
    if (ReadLine(console, line, &length)) {
        password.emplace(4 * static_cast<size_t>(length), '\0');  // no character is longer
        const int bytes = WideCharToMultiByte(CP_UTF8, 0, line, length, password->data(),
                                              static_cast<int>(password->size()), nullptr, nullptr);
        password->resize(static_cast<size_t>(bytes));
    }
    Wipe(line, sizeof(line));

    SetConsoleMode(console, saved);
    CloseHandle(console);
    std::fputc('\n', stderr);
    return password;
}

}  // namespace zwmgmt::platform
