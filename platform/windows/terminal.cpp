#include "platform/terminal.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <initializer_list>

#include "platform/wipe.h"

namespace zwmgmt::platform {
namespace {

constexpr size_t kLongestLine = 1024;

constexpr int kInterrupted = 130;

constexpr wchar_t kInterrupt = 3;
constexpr wchar_t kBackspace = 8;
constexpr wchar_t kDelete = 127;  // what Backspace sends in some terminals

UINT shells_code_page = 0;

BOOL WINAPI IgnoreBreak(DWORD event) { return event == CTRL_BREAK_EVENT; }

/// Reads characters up to the end of the line; false when it is given up.
bool ReadLine(HANDLE console, wchar_t (&line)[kLongestLine], size_t* length) {
    for (*length = 0;;) {
        wchar_t c = 0;
        DWORD got = 0;
        if (!ReadConsoleW(console, &c, 1, &got, nullptr) || got == 0 || c == kInterrupt) {
            return false;
        }
        if (c == L'\r' || c == L'\n') return true;
        if (c == kBackspace || c == kDelete) {
            if (*length > 0) --*length;
        } else if (c >= L' ' || c == L'\0') {  // the other control keys are no characters
            if (*length < kLongestLine) line[*length] = c;
            ++*length;
        }
    }
}

HANDLE OpenConsole(const char* name) {
    return CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_EXISTING, 0, nullptr);
}

void Show(HANDLE screen, const wchar_t* text) {
    DWORD written = 0;
    WriteConsoleW(screen, text, static_cast<DWORD>(wcslen(text)), &written, nullptr);
}

}  // namespace

void PrepareStandardStreams() {
    // A stream that is missing has a negative number. The other direction of the null device: using
    // it fails, as before.
    for (FILE* stream : {stdin, stdout, stderr}) {
        if (_fileno(stream) < 0) (void)!std::freopen("NUL", stream == stdin ? "w" : "r", stream);
    }
    _setmode(_fileno(stdin), _O_BINARY);  // otherwise Ctrl-Z would end it
    // The console is the shell's, too: it gets its code page back.
    shells_code_page = GetConsoleOutputCP();
    if (shells_code_page != 0 && SetConsoleOutputCP(CP_UTF8)) {
        std::atexit([] { SetConsoleOutputCP(shells_code_page); });
    }
}

Typed ReadPassword(const char* prompt, char* bytes, size_t capacity, size_t* length) {
    const HANDLE console = OpenConsole("CONIN$");
    const HANDLE screen = OpenConsole("CONOUT$");
    // Character by character, unechoed, the interrupt key among them. A process that dies here
    // would leave the console so: Ctrl-Break, which cannot be read, waits.
    constexpr DWORD kCooked = ENABLE_ECHO_INPUT | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT |
                              ENABLE_VIRTUAL_TERMINAL_INPUT;
    DWORD saved = 0;
    if (screen == INVALID_HANDLE_VALUE || !GetConsoleMode(console, &saved) ||
        !SetConsoleMode(console, saved & ~kCooked)) {
        CloseHandle(console);
        CloseHandle(screen);
        return Typed::kNoTerminal;
    }
    SetConsoleCtrlHandler(IgnoreBreak, TRUE);
    FlushConsoleInputBuffer(console);
    wchar_t line[kLongestLine] = {};
    MultiByteToWideChar(CP_UTF8, 0, prompt, -1, line, kLongestLine - 1);
    line[kLongestLine - 1] = L'\0';
    Show(screen, line);

    size_t characters = 0;
    const bool typed = ReadLine(console, line, &characters);
    if (typed && characters <= kLongestLine) {
        const int needed = WideCharToMultiByte(CP_UTF8, 0, line, static_cast<int>(characters),
                                               nullptr, 0, nullptr, nullptr);
        *length = static_cast<size_t>(needed);
        if (*length <= capacity) {
            WideCharToMultiByte(CP_UTF8, 0, line, static_cast<int>(characters), bytes, needed,
                                nullptr, nullptr);
        }
    } else {
        *length = characters;  // more than anything holds
    }
    Wipe(line, sizeof(line));

    Show(screen, L"\r\n");
    SetConsoleMode(console, saved);
    SetConsoleCtrlHandler(IgnoreBreak, FALSE);
    CloseHandle(console);
    CloseHandle(screen);
    if (!typed) std::exit(kInterrupted);
    return Typed::kLine;
}

bool InputIsTerminal() {
    DWORD mode = 0;  // of a console alone
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

bool ErrorsShowOnTerminal() { return _isatty(_fileno(stderr)) != 0; }

size_t TerminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO screen = {};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &screen) == 0) return 0;
    return static_cast<size_t>(screen.srWindow.Right - screen.srWindow.Left + 1);
}

}  // namespace zwmgmt::platform
