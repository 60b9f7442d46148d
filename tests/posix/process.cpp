#include "tests/process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <utility>

namespace testing_support {
namespace {

std::pair<int, int> Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    return {ends[0], ends[1]};
}

/// What exec takes, made before the fork: the child of a process with threads may not allocate.
std::vector<char*> Raw(const std::vector<std::string>& arguments) {
    std::vector<char*> raw;
    for (const std::string& argument : arguments)
        raw.push_back(const_cast<char*>(argument.c_str()));
    raw.push_back(nullptr);
    return raw;
}

[[noreturn]] void Execute(const std::vector<char*>& raw) {
    execv(raw[0], raw.data());
    _exit(127);
}

int ExitStatus(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Appends what is there to read; false at the end.
bool ReadSome(int fd, std::string* text) {
    char buffer[4096];
    const ssize_t got = read(fd, buffer, sizeof(buffer));
    if (got > 0) text->append(buffer, static_cast<size_t>(got));
    return got > 0;
}

}  // namespace

ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input,
                         bool takes_output) {
    const auto [in_read, in_write] = Pipe();
    const auto [out_read, out_write] = Pipe();
    const auto [err_read, err_write] = Pipe();
    const std::vector<char*> raw = Raw(arguments);
    const pid_t pid = fork();
    if (pid == 0) {
        setsid();
        dup2(in_read, STDIN_FILENO);
        dup2(takes_output ? out_write : open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        dup2(err_write, STDERR_FILENO);
        Execute(raw);
    }
    for (int fd : {in_read, out_write, err_write}) close(fd);
    if (!input.empty()) {
        // The program may end without having read it all.
        const auto before = signal(SIGPIPE, SIG_IGN);
        (void)!write(in_write, input.data(), input.size());
        signal(SIGPIPE, before);
    }
    close(in_write);

    ProcessResult result;
    pollfd waiting[] = {{out_read, POLLIN, 0}, {err_read, POLLIN, 0}};
    std::string* texts[] = {&result.out, &result.err};
    while (waiting[0].fd >= 0 || waiting[1].fd >= 0) {
        poll(waiting, 2, -1);
        for (int i = 0; i < 2; ++i) {
            if (waiting[i].revents != 0 && !ReadSome(waiting[i].fd, texts[i])) waiting[i].fd = -1;
        }
    }
    close(out_read);
    close(err_read);
    result.exit_status = ExitStatus(pid);
    return result;
}

ProcessResult RunOnTerminal(const std::vector<std::string>& arguments,
                            const std::vector<Typed>& typed) {
    int terminal = -1;
    const std::vector<char*> raw = Raw(arguments);
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) Execute(raw);
    ProcessResult result;
    auto next = typed.begin();
    size_t seen = 0;
    while (ReadSome(terminal, &result.out)) {
        if (next == typed.end()) continue;
        const size_t found = result.out.find(next->after, seen);
        if (found == std::string::npos) continue;
        seen = result.out.size();
        if (next->before) next->before();
        (void)!write(terminal, next->keys.data(), next->keys.size());
        ++next;
    }
    close(terminal);
    result.exit_status = ExitStatus(pid);
    return result;
}

struct BackgroundProcess::Process {
    pid_t pid;
    int output;
};

BackgroundProcess::BackgroundProcess(const std::vector<std::string>& arguments) {
    const auto [out_read, out_write] = Pipe();
    const std::vector<char*> raw = Raw(arguments);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(out_write, STDOUT_FILENO);
        Execute(raw);
    }
    close(out_write);
    process = std::make_unique<Process>(pid, out_read);
}

BackgroundProcess::~BackgroundProcess() {
    if (process->pid > 0) {
        kill(process->pid, SIGKILL);
        ExitStatus(process->pid);
    }
    close(process->output);
}

std::string BackgroundProcess::ReadLine() {
    std::string line;
    for (char c; read(process->output, &c, 1) == 1 && c != '\n';) line.push_back(c);
    return line;
}

int BackgroundProcess::Terminate() {
    kill(process->pid, SIGTERM);
    return ExitStatus(std::exchange(process->pid, -1));
}

CredentialsHome::CredentialsHome()
    : home(std::filesystem::temp_directory_path() /
           ("zwmgmt-home-" + std::to_string(OwnProcessId()))) {
    credentials = home / ".config/korvane/credentials";
    std::filesystem::create_directories(credentials.parent_path());
}

CredentialsHome::~CredentialsHome() { std::filesystem::remove_all(home); }

void SetReadableByOthers(const std::string& path, bool readable) {
    std::filesystem::permissions(path, std::filesystem::perms(readable ? 0640 : 0600));
}

void CredentialsHome::Write(const std::string& text, bool readable_by_others) const {
    std::ofstream(credentials, std::ios::binary) << text;
    SetReadableByOthers(credentials.string(), readable_by_others);
}

std::vector<std::string> CredentialsHome::Within(std::vector<std::string> arguments) const {
    const std::string environment[] = {"/usr/bin/env", "HOME=" + home.string()};
    arguments.insert(arguments.begin(), std::begin(environment), std::end(environment));
    return arguments;
}

std::vector<std::string> FilesThatAreNotRegular(const std::string& scratch) {
    if (mkfifo(scratch.c_str(), 0600) != 0) throw std::runtime_error("no pipe");
    return {scratch, "/dev/zero"};
}

FILE* OpenScratchFile() { return std::tmpfile(); }

int OwnProcessId() { return getpid(); }
uintptr_t OwnThreadId() { return static_cast<uintptr_t>(pthread_self()); }

}  // namespace testing_support
