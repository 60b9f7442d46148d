#include "platform/stop_signal.h"

#include <csignal>
#include <initializer_list>

namespace zwmgmt::platform {
namespace {

sigset_t StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

volatile sig_atomic_t is_noted = 0;

void Note(int) {
    is_noted = 1;
    for (const int signal : {SIGTERM, SIGINT}) std::signal(signal, SIG_DFL);
}

void NoteFirst(int signal) {
    struct sigaction noting = {};
    noting.sa_handler = Note;
    noting.sa_flags = SA_RESTART;
    struct sigaction before;
    const bool known = sigaction(signal, nullptr, &before) == 0;
    if (known && before.sa_handler != SIG_IGN) sigaction(signal, &noting, nullptr);
}

}  // namespace

void HoldStopSignals() {
    const sigset_t signals = StopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void WaitForStop() {
    const sigset_t signals = StopSignals();
    int received = 0;
    sigwait(&signals, &received);
}

void NoteStopSignal() {
    for (const int signal : {SIGTERM, SIGINT}) NoteFirst(signal);
}

void NoteInterrupt() {
    is_noted = 0;
    NoteFirst(SIGINT);
}

bool StopIsNoted() { return is_noted != 0; }

}  // namespace zwmgmt::platform
