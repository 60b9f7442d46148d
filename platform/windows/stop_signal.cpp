#include "platform/stop_signal.h"

#include <windows.h>

namespace zwmgmt::platform {
namespace {

HANDLE stop_asked = nullptr;

BOOL WINAPI Note(DWORD event) {
    SetEvent(stop_asked);
    // Ctrl-C and Ctrl-Break are done with; after the others (the window is closed, the user logs
    // off) the system ends the process as soon as this returns.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return TRUE;
}

}  // namespace

void HoldStopSignals() {
    stop_asked = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(nullptr, FALSE);  // Ctrl-C may have been switched off by the parent
    SetConsoleCtrlHandler(Note, TRUE);
}

void WaitForStop() { WaitForSingleObject(stop_asked, INFINITE); }

}  // namespace zwmgmt::platform
