#include "linux_agent/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "linux_agent/descriptor.h"

namespace zmagent {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMostOutput = 64 * 1024;
constexpr int kRoundMilliseconds = 200;

/// How a new process begins.
class Beginning {
  public:
    explicit Beginning(int output) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, output, 1);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes, &pipe);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    }
    ~Beginning() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;

    /// The process; 0 when there is none.
    pid_t Start(const std::string& path, const std::vector<std::string>& words) {
        std::vector<char*> pointers = {const_cast<char*>(path.c_str())};
        for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
        pointers.push_back(nullptr);
        char language[] = "LC_ALL=C";
        char* const environment[] = {language, nullptr};
        pid_t process = 0;
        const int failed = posix_spawn(&process, path.c_str(), &actions, &attributes,
                                       pointers.data(), environment);
        return failed == 0 ? process : 0;
    }

  private:
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

/// Reads to the end; false when that has not come at the moment, or there is to be a stop.
bool ReadAll(int from, Clock::time_point moment, const std::atomic<bool>& stop,
             std::string* output) {
    while (!stop && Clock::now() < moment) {
        pollfd waiting = {.fd = from, .events = POLLIN, .revents = 0};
        const int ready = poll(&waiting, 1, kRoundMilliseconds);
        if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
        if (ready < 0) return false;
        char piece[4096];
        const ssize_t length = read(from, piece, sizeof(piece));
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) return length == 0;
        const size_t room = kMostOutput - output->size();
        output->append(piece, std::min(static_cast<size_t>(length), room));
    }
    return false;
}

}  // namespace

ProgramResult RunProgram(const std::string& path, const std::vector<std::string>& words,
                         std::chrono::milliseconds limit, const std::atomic<bool>& stop) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {};
    const Descriptor from(ends[0]);
    Descriptor into(ends[1]);
    const pid_t process = Beginning(into.Number()).Start(path, words);
    into.Close();
    if (process == 0) return {};
    ProgramResult result;
    result.ran = ReadAll(from.Number(), Clock::now() + limit, stop, &result.output);
    if (!result.ran) kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    return result;
}

}  // namespace zmagent
