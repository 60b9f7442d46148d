#include "platform/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <initializer_list>

namespace zwmgmt::platform {
namespace {

/// What a signal handler needs to leave the terminal as it was.
struct {
    int terminal;
    termios usual;
    termios silent;
    const char* prompt;
    volatile sig_atomic_t is_silent;
} prompt_state;

void Show(const char* text) { (void)!write(prompt_state.terminal, text, std::strlen(text)); }

void SetSilent(bool silent) {
    prompt_state.is_silent = 1;  // before: a signal in between then restores what is so already
    const termios* mode = silent ? &prompt_state.silent : &prompt_state.usual;
    while (tcsetattr(prompt_state.terminal, TCSAFLUSH, mode) != 0 && errno == EINTR) {
    }
    prompt_state.is_silent = silent;
}

/// Restores the terminal, then lets the signal do what it does without us. What was stopped and
/// goes on asks again; what was typed of the line is gone.
void RestoreAndObey(int signal) {
    const int kept_error = errno;
    const bool was_silent = prompt_state.is_silent;
    if (was_silent) SetSilent(false);
    struct sigaction ours;
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    sigaction(signal, &usual, &ours);
    sigset_t one;
    sigset_t before;
    sigemptyset(&one);
    sigaddset(&one, signal);
    raise(signal);
    pthread_sigmask(SIG_UNBLOCK, &one, &before);  // it takes effect here
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    sigaction(signal, &ours, nullptr);
    if (was_silent) {
        SetSilent(true);
        Show(prompt_state.prompt);
    }
    errno = kept_error;
}

/// While it lives, every signal that would end or stop the process restores the terminal first.
class GuardedBySignals {
  public:
    GuardedBySignals() {
        struct sigaction restoring = {};
        restoring.sa_handler = RestoreAndObey;
        for (int signal = 1; signal < NSIG; ++signal) {
            taken[signal] =
                EndsOrStops(signal) && sigaction(signal, nullptr, &before[signal]) == 0 &&
                IsOurs(signal, before[signal]) && sigaction(signal, &restoring, nullptr) == 0;
        }
    }
    ~GuardedBySignals() {
        for (int signal = 1; signal < NSIG; ++signal) {
            if (taken[signal]) sigaction(signal, &before[signal], nullptr);
        }
    }
    GuardedBySignals(const GuardedBySignals&) = delete;
    GuardedBySignals& operator=(const GuardedBySignals&) = delete;

  private:
    static bool EndsOrStops(int signal) {
        return signal != SIGCHLD && signal != SIGURG && signal != SIGWINCH && signal != SIGKILL &&
               signal != SIGSTOP;
    }

    /// A request to stop is not for later while a person is asked.
    static bool IsOurs(int signal, const struct sigaction& action) {
        const bool stops = signal == SIGINT || signal == SIGTERM;
        return action.sa_handler == SIG_DFL || (stops && action.sa_handler != SIG_IGN);
    }

    struct sigaction before[NSIG];
    bool taken[NSIG] = {};
};

Typed ReadLine(char* line, size_t capacity, size_t* length) {
    *length = 0;
    for (;;) {
        char c = 0;
        const ssize_t got = read(prompt_state.terminal, &c, 1);
        if (got < 0 && errno == EINTR) continue;
        if (got != 1) return Typed::kNothing;
        if (c == '\n') return Typed::kLine;
        if (*length < capacity) line[*length] = c;
        ++*length;
    }
}

}  // namespace

void PrepareStandardStreams() {
    // The lowest free descriptor is taken, which is the one that was missing.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) != -1) continue;
        (void)!open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

Typed ReadPassword(const char* prompt, char* line, size_t capacity, size_t* length) {
    const int own = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    prompt_state.terminal = own != -1 ? own : STDIN_FILENO;
    if (tcgetattr(prompt_state.terminal, &prompt_state.usual) != 0) {
        if (own != -1) close(own);
        return Typed::kNoTerminal;
    }
    prompt_state.silent = prompt_state.usual;
    prompt_state.silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    prompt_state.prompt = prompt;
    Typed typed;
    {
        const GuardedBySignals guard;
        SetSilent(true);
        Show(prompt);
        typed = ReadLine(line, capacity, length);
        SetSilent(false);
    }
    Show("\n");
    if (own != -1) close(own);
    return typed;
}

bool InputIsTerminal() { return isatty(STDIN_FILENO) != 0; }

bool ErrorsShowOnTerminal() { return isatty(STDERR_FILENO) != 0; }

size_t TerminalWidth() {
    winsize size = {};
    if (isatty(STDOUT_FILENO) == 0) return 0;
    constexpr size_t kUsual = 80;
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return known ? size.ws_col : kUsual;
}

}  // namespace zwmgmt::platform
