#include "linux_agent/hook.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "linux_agent/descriptor.h"
#include "linux_agent/trusted_path.h"

namespace zmagent {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kKeptOutput = 4096;  // bytes: the last ones
constexpr int kPipePieces = 16;       // of that size are in a pipe
constexpr int kRoundMilliseconds = 200;
constexpr std::chrono::seconds kGrace{3};  // to end by itself, once told to
constexpr int kNotRun = 127;

struct Limit {
    __rlimit_resource resource;
    rlim_t most;
};

constexpr Limit kLimits[] = {
    {RLIMIT_CORE, 0},
    {RLIMIT_NOFILE, 1024},
    {RLIMIT_FSIZE, rlim_t{4} << 30},
    {RLIMIT_MEMLOCK, rlim_t{8} << 20},
};

/// What execve takes.
std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

void RestoreSignals() {
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &usual, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// In the new process, between fork and exec: nothing here may take memory or a lock.
[[noreturn]] void Become(const char* folder, int output, char* const* words,
                         char* const* environment) {
    RestoreSignals();
    const int nothing = open("/dev/null", O_RDONLY);
    bool caged = nothing >= 0 && setsid() > 0 && dup2(nothing, 0) == 0 && dup2(output, 1) == 1 &&
                 dup2(output, 2) == 2 && close_range(3, ~0u, 0) == 0 && chdir(folder) == 0;
    for (const Limit& row : kLimits) {
        rlimit limit = {};
        caged = caged && getrlimit(row.resource, &limit) == 0;
        limit.rlim_max = std::min(limit.rlim_max, row.most);
        limit.rlim_cur = limit.rlim_max;
        caged = caged && setrlimit(row.resource, &limit) == 0;
    }
    umask(S_IWGRP | S_IWOTH);
    caged = caged && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
            prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0;
    if (caged) execve(words[0], words, environment);
    _exit(kNotRun);
}

/// A process that leads a group of its own, and what it prints.
class Group {
  public:
    bool Start(const HookRun& run) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        from = Descriptor(ends[0]);
        const Descriptor into(ends[1]);
        fcntl(from.Number(), F_SETFL, O_NONBLOCK);
        std::vector<std::string> texts = run.words;
        texts.insert(texts.begin(), run.hook);
        const std::vector<char*> words = Pointers(texts);
        const std::vector<char*> environment = Pointers(run.environment);
        leader = fork();
        if (leader == 0) {
            Become(run.folder.c_str(), into.Number(), words.data(), environment.data());
        }
        if (leader < 0) return false;
        life = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, leader, 0)));
        if (!life) Bury();
        return static_cast<bool>(life);
    }

    /// Whether its leader has ended by the moment, or there is no stop before.
    bool EndsBefore(Clock::time_point moment, const std::atomic<bool>* stop) {
        while (Clock::now() < moment && (stop == nullptr || !*stop)) {
            pollfd waiting[] = {{.fd = life.Number(), .events = POLLIN, .revents = 0},
                                {.fd = from.Number(), .events = POLLIN, .revents = 0}};
            poll(waiting, 2, kRoundMilliseconds);
            // Who has closed what he prints to ends without being asked again and again.
            if (waiting[1].revents != 0 && !Read()) from.Close();
            if (waiting[0].revents != 0) return true;
        }
        return false;
    }

    /// To the leader and all that have stayed with it: it is not yet waited for, so the number is
    /// still theirs. At first it does not lead them yet.
    void Signal(int signal) const {
        kill(-leader, signal);
        kill(leader, signal);
    }

    /// Ends what is left of it.
    int Bury() {
        Signal(SIGKILL);
        int status = 0;
        while (waitpid(leader, &status, 0) < 0 && errno == EINTR) {
        }
        // Who has left the group may print on: no more than the pipe held is read.
        for (int i = 0; i < kPipePieces && Read(); ++i) {
        }
        return status;
    }

    std::string LastLine() const {
        const size_t end = printed.find_last_not_of(" \r\n");
        if (end == printed.npos) return "";
        const size_t before = printed.find_last_of('\n', end);
        const size_t begin = before == printed.npos ? 0 : before + 1;
        return printed.substr(begin, end + 1 - begin);
    }

  private:
    /// False when there is nothing, or no more.
    bool Read() {
        char piece[kKeptOutput];
        const ssize_t length = read(from.Number(), piece, sizeof(piece));
        if (length <= 0) return length < 0 && errno == EINTR;
        printed.append(piece, static_cast<size_t>(length));
        if (printed.size() > kKeptOutput) printed.erase(0, printed.size() - kKeptOutput);
        return true;
    }

    pid_t leader = 0;
    Descriptor life;
    Descriptor from;
    std::string printed;
};

}  // namespace

bool IsSafeHook(const std::string& hook, std::string* error) {
    const Descriptor file = OpenTrusted(hook, error);
    if (!file) return false;
    struct stat found = {};
    if (fstat(file.Number(), &found) == 0 && S_ISREG(found.st_mode) &&
        (found.st_mode & S_IXUSR) != 0) {
        return true;
    }
    *error = hook + " is no program";
    return false;
}

HookEnd RunHook(const HookRun& run, const std::atomic<bool>& stop) {
    Group group;
    if (!group.Start(run)) {
        return {.reason = std::string("cannot start a process: ") + std::strerror(errno)};
    }
    const bool ended = group.EndsBefore(Clock::now() + run.limit, &stop);
    if (!ended) {
        group.Signal(SIGTERM);
        group.EndsBefore(Clock::now() + kGrace, nullptr);
    }
    const int status = group.Bury();
    HookEnd end = {.printed = group.LastLine()};
    if (!ended) {
        end.reason = stop ? "the agent was stopped" : "it took too long";
    } else if (WIFEXITED(status)) {
        end.exit_status = WEXITSTATUS(status);
    } else {
        end.reason = "it was ended by signal " + std::to_string(WTERMSIG(status));
    }
    return end;
}

}  // namespace zmagent
