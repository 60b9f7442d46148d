#include "platform/line_editor.h"

#include <windows.h>

#include <cstdio>
#include <iterator>

namespace zwmgmt::platform {
namespace {

constexpr wchar_t kCtrlD = 4;
constexpr wchar_t kCtrlZ = 26;

std::string Narrow(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    const int needed =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), needed, nullptr, nullptr);
    return narrow;
}

}  // namespace

struct LineEditor::Parts {
    std::string prompt;
};

LineEditor::LineEditor(const std::string& prompt, Complete /*complete*/)
    : parts(std::make_unique<Parts>(prompt)) {}

LineEditor::~LineEditor() = default;

Read LineEditor::ReadLine(std::string* line) {
    std::fputs(parts->prompt.c_str(), stderr);
    std::wstring typed;
    while (!typed.ends_with(L'\n')) {
        wchar_t piece[1024];
        DWORD length = 0;
        SetLastError(ERROR_SUCCESS);
        ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), piece, std::size(piece), &length, nullptr);
        if (length == 0) {
            const bool is_given_up = GetLastError() == ERROR_OPERATION_ABORTED;
            if (is_given_up) std::fputs("\n", stderr);
            return is_given_up ? Read::kGivenUp : Read::kEnd;
        }
        typed.append(piece, length);
        if (typed[0] == kCtrlD || typed[0] == kCtrlZ) return Read::kEnd;
    }
    while (typed.ends_with(L'\n') || typed.ends_with(L'\r')) typed.pop_back();
    *line = Narrow(typed);
    return Read::kLine;
}

void LineEditor::Remember(const std::string& /*line*/) {}

}  // namespace zwmgmt::platform
