#include "platform/stop_signal.h"

#include <windows.h>

#include <atomic>

namespace zwmgmt::platform {
namespace {

HANDLE stop_asked = nullptr;
std::atomic<bool> is_noted = false;

constexpr int kInterrupted = 130;

BOOL WINAPI Note(DWORD event) {
    SetEvent(stop_asked);
    // Ctrl-C and Ctrl-Break are done with; after the others (the window is closed, the user logs
    // off) the system ends the process as soon as this returns.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return TRUE;
}

BOOL WINAPI NoteFirst(DWORD event) {
    const bool is_first = !is_noted.exchange(true);
    if (!is_first || (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)) {
        TerminateProcess(GetCurrentProcess(), kInterrupted);
    }
    return TRUE;
}

}  // namespace

void HoldStopSignals() {
    stop_asked = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(nullptr, FALSE);  // Ctrl-C may have been switched off by the parent
    SetConsoleCtrlHandler(Note, TRUE);
}

void WaitForStop() { WaitForSingleObject(stop_asked, INFINITE); }

void NoteStopSignal() { SetConsoleCtrlHandler(NoteFirst, TRUE); }

void NoteInterrupt() {
    is_noted = false;
    SetConsoleCtrlHandler(NoteFirst, FALSE);  // each call would add it once more
    SetConsoleCtrlHandler(NoteFirst, TRUE);
}

bool StopIsNoted() { return is_noted; }

}  // namespace zwmgmt::platform
