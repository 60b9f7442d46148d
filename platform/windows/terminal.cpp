#include "platform/terminal.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "platform/wipe.h"

namespace zwmgmt::platform {
namespace {

constexpr size_t kLongestLine = 1024;

constexpr wchar_t kInterrupt = 3;
constexpr wchar_t kBackspace = 8;
constexpr wchar_t kDelete = 127;  // what Backspace sends in some terminals

UINT shells_code_page = 0;

BOOL WINAPI IgnoreBreak(DWORD event) { return event == CTRL_BREAK_EVENT; }

/// Reads characters up to the end of the line; false when it is given up.
bool ReadLine(HANDLE console, wchar_t (&line)[kLongestLine], int* length) {
    for (*length = 0;;) {
        wchar_t c = 0;
        DWORD got = 0;
        if (!ReadConsoleW(console, &c, 1, &got, nullptr) || got == 0 || c == kInterrupt) {
            return false;
        }
        if (c == L'\r' || c == L'\n') return true;
        if (c == kBackspace || c == kDelete) {
            if (*length > 0) --*length;
        } else if (*length < static_cast<int>(kLongestLine)) {
            line[(*length)++] = c;
        } else {
            return false;
        }
    }
}

}  // namespace

void PrepareStandardStreams() {
    // Otherwise Ctrl-Z would end it; a process without one has a negative number for it.
    if (_fileno(stdin) >= 0) _setmode(_fileno(stdin), _O_BINARY);
    // The console is the shell's, too: it gets its code page back.
    shells_code_page = GetConsoleOutputCP();
    if (shells_code_page != 0 && SetConsoleOutputCP(CP_UTF8)) {
        std::atexit([] { SetConsoleOutputCP(shells_code_page); });
    }
}

bool StandardInputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != FALSE;
}

std::optional<std::string> ReadPassword(const char* prompt) {
    if (!StandardInputIsTerminal()) return std::nullopt;
    // Opened anew: standard input need not allow to change the mode.
    const HANDLE console =
        CreateFileA("CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (console == INVALID_HANDLE_VALUE) return std::nullopt;
    // Character by character, unechoed, the interrupt key among them. A process that dies here
    // would leave the console so: Ctrl-Break, which cannot be read, waits.
    constexpr DWORD kCooked = ENABLE_ECHO_INPUT | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT |
                              ENABLE_VIRTUAL_TERMINAL_INPUT;
    DWORD saved = 0;
    if (!GetConsoleMode(console, &saved) || !SetConsoleMode(console, saved & ~kCooked)) {
        CloseHandle(console);
        return std::nullopt;
    }
    SetConsoleCtrlHandler(IgnoreBreak, TRUE);
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
    SetConsoleCtrlHandler(IgnoreBreak, FALSE);
    CloseHandle(console);
    std::fputc('\n', stderr);
    return password;
}

}  // namespace zwmgmt::platform
