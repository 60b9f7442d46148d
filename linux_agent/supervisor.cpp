#include "linux_agent/supervisor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "linux_agent/channel.h"
#include "linux_agent/network_half.h"
#include "linux_agent/spool.h"
#include "linux_agent/trusted_path.h"

namespace zmagent {
namespace {

namespace platform = zwmgmt::platform;

constexpr const char* kNetworkHalf = "--network-half";
/// What a network half is begun with: its control line, and behind it the listening sockets.
constexpr int kControl = 3;
constexpr int kFirstListener = kControl + 1;
/// Where descriptors lie out of the way of those.
constexpr int kAside = 64;
constexpr int kReadySeconds = 10;
/// How much longer than the limit for running requests an end may take.
constexpr std::chrono::seconds kGrace{3};

void Say(const std::string& text) { std::fprintf(stderr, "korvane_zmagent: %s\n", text.c_str()); }

/// A key that others can read is no secret.
bool IsPrivate(const std::string& certificate, std::string* error) {
    struct stat found = {};
    if (stat(certificate.c_str(), &found) != 0) {
        *error = "cannot use the certificate " + certificate + ": " + std::strerror(errno) +
                 " (korvane_zmagent --make-certificate FILE makes one)";
        return false;
    }
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) == 0) return true;
    *error = certificate + " holds a key that others can read: its mode must be 0600";
    return false;
}

/// In the new process, between fork and exec: nothing here may take memory or a lock.
[[noreturn]] void Become(int control, const int* sockets, int count, const char* const* words) {
    int aside[1 + zwmgmt::platform::kMostSockets];
    aside[0] = fcntl(control, F_DUPFD, kAside);
    for (int i = 0; i < count; ++i) aside[1 + i] = fcntl(sockets[i], F_DUPFD, kAside);
    for (int i = 0; i <= count; ++i) {
        if (dup2(aside[i], kControl + i) < 0) _exit(126);
    }
    close_range(static_cast<unsigned>(kFirstListener + count), ~0u, 0);
    execv("/proc/self/exe", const_cast<char* const*>(words));
    _exit(127);
}

/// A client takes two in each half.
void UseAllDescriptors() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

int SignalsToCome() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

std::shared_ptr<const Service> Supervisor::Load(std::string* error) const {
    auto read = std::make_shared<Service>();
    if (!ReadConfig(file, &read->config, error) || !IsPrivate(read->config.certificate, error)) {
        return nullptr;
    }
    const Config& config = read->config;
    if (config.certificates_log_in) {
        // Who can change them can log in as anybody.
        if (!OpenTrusted(config.client_authorities, error)) return nullptr;
        read->authorities = ReadAuthorities(config.client_authorities, error);
        if (!read->authorities) return nullptr;
    }
    if (!config.install_hook.empty() && !PrepareSpool(config.spool, error)) return nullptr;
    read->host = make(config);
    return read;
}

bool Supervisor::Listen(std::string* error) {
    const int passed = sd_listen_fds(1);
    for (int i = 0; i < passed; ++i) listening.push_back(SD_LISTEN_FDS_START + i);
    if (listening.size() > platform::kMostSockets) {
        *error = "cannot listen on " + std::to_string(listening.size()) + " sockets";
        return false;
    }
    for (const int socket : listening) {
        const bool fits = sd_is_socket(socket, AF_UNSPEC, SOCK_STREAM, 1) > 0;
        if (!fits || fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK) != 0) {
            *error = "what was passed to listen on is no listening socket";
            return false;
        }
    }
    if (!listening.empty()) return true;
    const Config& config = service->config;
    if (!listeners.Open(config.addresses, static_cast<uint16_t>(config.port), error)) return false;
    listening.assign(listeners.Sockets().begin(), listeners.Sockets().end());
    return true;
}

bool Supervisor::StartHalf(std::string* error) {
    NetworkHalf half;
    Descriptor others;
    if (!MakeControl(&half.control, &others)) {
        *error = std::string("cannot make a socket pair: ") + std::strerror(errno);
        return false;
    }
    const std::string count = std::to_string(listening.size());
    const char* const words[] = {"korvane_zmagent", kNetworkHalf, file.c_str(), count.c_str(),
                                 nullptr};
    half.process = fork();
    if (half.process == 0) {
        Become(others.Number(), listening.data(), static_cast<int>(listening.size()), words);
    }
    if (half.process < 0) {
        *error = std::string("cannot start a process: ") + std::strerror(errno);
        return false;
    }
    half.service = service;
    others.Close();
    halves.push_back(std::move(half));
    if (IsReady(halves.back())) return true;
    Dismiss(halves.back());
    *error = "the process that talks to the network did not start";
    return false;
}

bool Supervisor::IsReady(const NetworkHalf& half) {
    pollfd control = {.fd = half.control.Number(), .events = POLLIN, .revents = 0};
    if (poll(&control, 1, kReadySeconds * 1000) != 1) return false;
    const auto notice = Receive(half.control.Number());
    return notice && notice->signal == Signal::kReady;
}

/// From now on another half takes the clients; this one ends when those that it has are gone.
void Supervisor::Replace(NetworkHalf& half) {
    half.leaving = true;
    Send(half.control.Number(), Signal::kLeave);
}

/// The half ends as soon as those that wait for an answer have it.
void Supervisor::Dismiss(NetworkHalf& half) {
    half.leaving = true;
    shutdown(half.control.Number(), SHUT_WR);
}

void Supervisor::Reload() {
    sd_notify(0, "RELOADING=1");
    std::string error;
    const auto before = service;
    if (const auto read = Load(&error)) {
        service = read;
        if (StartHalf(&error) && audit.Open(service->config.audit, &error)) {
            for (NetworkHalf& half : halves) {
                if (half.service != service && !half.leaving) Replace(half);
            }
        } else {
            service = before;
        }
    }
    if (service == before) {
        Say("still serving as before: " + error);
        for (NetworkHalf& half : halves) {
            if (half.service != service && !half.leaving) Dismiss(half);
        }
    }
    sd_notify(0, "READY=1");
}

/// Takes what the half says next.
void Supervisor::Hear(NetworkHalf& half) {
    auto notice = Receive(half.control.Number());
    if (!notice) {
        half.control.Close();
    } else if (notice->signal == Signal::kSession) {
        keeper.Begin(half.service, std::move(notice->channel), std::move(notice->client));
    } else if (notice->signal == Signal::kAlive && !half.leaving) {
        sd_notify(0, "WATCHDOG=1");
    }
}

void Supervisor::AskWhetherAlive() {
    for (const NetworkHalf& half : halves) {
        if (!half.leaving) Send(half.control.Number(), Signal::kAlive);
    }
}

void Supervisor::ForgetEnded() {
    // Other children are not this one's: modules of PAM wait for theirs.
    for (auto half = halves.begin(); half != halves.end();) {
        int status = 0;
        const int ended = waitpid(half->process, &status, WNOHANG);
        if (ended == 0) {
            ++half;
            continue;
        }
        Bury(*half, ended < 0 ? 0 : status);
        half = halves.erase(half);
    }
}

void Supervisor::Bury(const NetworkHalf& half, int status) {
    keeper.HangUp(half.service.get());
    if (half.leaving && status == 0) return;
    std::string how = "has ended";
    if (WIFSIGNALED(status)) how = "was ended by signal " + std::to_string(WTERMSIG(status));
    Say("the process that talks to the network " + how);
    failed = failed || !half.leaving;
}

bool Supervisor::Serves() const { return stopping || failed ? !halves.empty() : true; }

void Supervisor::TakeSignals(int signals) {
    signalfd_siginfo signal = {};
    while (read(signals, &signal, sizeof(signal)) == sizeof(signal)) {
        if (signal.ssi_signo == SIGHUP && !stopping) Reload();
        if (signal.ssi_signo == SIGTERM || signal.ssi_signo == SIGINT) stopping = true;
    }
}

/// Until a half or a signal has something to say, or that moment.
void Supervisor::WaitAndHear(int signals, Clock::time_point moment) {
    std::vector<pollfd> waiting = {{.fd = signals, .events = POLLIN, .revents = 0}};
    for (const NetworkHalf& half : halves) {
        waiting.push_back({.fd = half.control.Number(), .events = POLLIN, .revents = 0});
    }
    const auto left = std::chrono::ceil<platform::Milliseconds>(moment - Clock::now());
    poll(waiting.data(), waiting.size(),
         moment == Clock::time_point::max() ? -1 : std::max(static_cast<int>(left.count()), 0));
    size_t place = 1;
    for (NetworkHalf& half : halves) {
        if (waiting[place++].revents != 0) Hear(half);
    }
}

void Supervisor::Loop(int signals) {
    uint64_t patience = 0;  // of systemd, in microseconds
    const bool is_watched = sd_watchdog_enabled(0, &patience) > 0;
    const auto round = std::chrono::microseconds(patience / 3);
    auto next = is_watched ? Clock::now() : Clock::time_point::max();
    auto last = Clock::time_point::max();  // when it ends, whoever still waits
    while (Serves()) {
        if (Clock::now() >= next) {
            next = Clock::now() + round;
            AskWhetherAlive();
        }
        WaitAndHear(signals, std::min(next, last));
        if (Clock::now() >= last) break;
        keeper.Reap();
        TakeSignals(signals);
        ForgetEnded();
        if ((!stopping && !failed) || last != Clock::time_point::max()) continue;
        last = Clock::now() + std::chrono::seconds(service->config.finish_seconds) + kGrace;
        for (NetworkHalf& half : halves) Dismiss(half);
        sd_notify(0, "STOPPING=1");
    }
}

int Supervisor::Run() {
    const Descriptor signals(SignalsToCome());
    std::string error;
    std::signal(SIGPIPE, SIG_IGN);  // who reads what it says may have gone
    UseAllDescriptors();
    service = Load(&error);
    if (!service || !audit.Open(service->config.audit, &error) || !Listen(&error) ||
        !StartHalf(&error)) {
        Say(error);
        return 1;
    }
    // It is this agent's now: another one would have the port.
    if (!service->config.install_hook.empty()) EmptySpool(service->config.spool);
    if (service->config.port == 0 && listeners.Port() != 0) {
        std::printf("%d\n", listeners.Port());
        std::fflush(stdout);
    }
    sd_notify(0, "READY=1");
    Loop(signals.Number());
    // Who does not let go then is left: the halves go with this process.
    if (!keeper.Close(Clock::now() + kGrace) || !halves.empty()) std::_Exit(failed ? 1 : 0);
    return failed ? 1 : 0;
}

bool IsNetworkHalf(int argc, const char* const* argv) {
    return argc == 4 && std::strcmp(argv[1], kNetworkHalf) == 0;
}

int RunNetworkHalf(const char* const* argv) {
    Config config;
    std::string error;
    if (!ReadConfig(argv[2], &config, &error)) {
        Say(error);
        return 1;
    }
    int count = 0;
    std::from_chars(argv[3], argv[3] + std::strlen(argv[3]), count);
    std::vector<int> listening;
    for (int i = 0; i < count; ++i) listening.push_back(kFirstListener + i);
    for (int each = kControl; each < kFirstListener + count; ++each) {
        fcntl(each, F_SETFD, FD_CLOEXEC);
    }
    // What it has goes with the process: in the cage there is nothing to tidy up with.
    std::_Exit(ServeNetwork(config, kControl, listening));
}

}  // namespace zmagent
