#include "platform/stop_signal.h"

#include <csignal>

namespace zwmgmt::platform {
namespace {

sigset_t StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
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

}  // namespace zwmgmt::platform
