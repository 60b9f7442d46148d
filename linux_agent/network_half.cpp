#include "linux_agent/network_half.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>

#include "agent/client_session.h"
#include "agent/replies.h"
#include "agent/server.h"
#include "linux_agent/cage.h"
#include "linux_agent/channel.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmagent {
namespace {

namespace agent = zwmgmt::agent;
namespace platform = zwmgmt::platform;
using Data = std::span<const uint8_t>;
using Seconds = std::chrono::seconds;

/// The host as the privileged half tells of it, for one client.
class DistantHost : public agent::HostModel {
  public:
    explicit DistantHost(Descriptor its_channel) : channel(std::move(its_channel)) {}

    uint8_t OsType() const override { return zwmgmt::kLinux; }
    uint8_t WordSize() const override { return sizeof(void*); }
    /// The other half knows who may change what.
    bool Changes(uint8_t, uint16_t) const override { return false; }
    agent::Reply Answer(uint8_t service, uint16_t opcode, Data data) override {
        return Ask(Asked::kRequest, service, opcode, data);
    }
    agent::FileOpening OpenFile(const agent::FileAnnouncement& file) override;
    /// Not answered when the client is cut off meanwhile: it may be made to wait for long.
    uint32_t LogIn(const LoginRecord& record, int client) {
        const Data data(reinterpret_cast<const uint8_t*>(&record), sizeof(record));
        return Ask(Asked::kLogin, 0, 0, data, client).status;
    }
    bool LogInByCertificates(Data chain) {
        return Ask(Asked::kCertificates, 0, 0, chain).status == zwmgmt::kSuccess;
    }
    /// Whether the other half has not gone.
    bool IsThere() const { return is_there; }

    agent::Reply Ask(Asked asked, uint8_t service, uint16_t opcode, Data data, int client = -1) {
        const Question question = {asked, service, opcode, static_cast<uint32_t>(data.size())};
        zmagent::Answer answer = {};
        agent::Reply reply;
        is_there =
            is_there &&
            WriteWhole(channel.Number(),
                       {reinterpret_cast<const uint8_t*>(&question), sizeof(question)}, data) &&
            AnswerComesBefore(client) &&
            ReadWhole(channel.Number(), {reinterpret_cast<uint8_t*>(&answer), sizeof(answer)}) &&
            answer.length <= kLongestAnswer;
        if (!is_there) return agent::Failed(zwmgmt::kNotConnected);
        reply.status = answer.status;
        reply.data.resize(answer.length);
        is_there = ReadWhole(channel.Number(), reply.data);
        return is_there ? std::move(reply) : agent::Failed(zwmgmt::kNotConnected);
    }

  private:
    bool AnswerComesBefore(int client_has_gone) const {
        pollfd either[] = {{.fd = channel.Number(), .events = POLLIN, .revents = 0},
                           {.fd = client_has_gone, .events = 0, .revents = 0}};
        while (poll(either, std::size(either), -1) < 0 && errno == EINTR) {
        }
        return either[0].revents != 0;
    }

    const Descriptor channel;
    bool is_there = true;
};

/// A package that the other half takes.
class DistantSink : public agent::FileSink {
  public:
    explicit DistantSink(DistantHost& its_host) : host(its_host) {}
    ~DistantSink() override {
        if (!is_whole) host.Ask(Asked::kBrokenOff, 0, 0, {});
    }

    uint32_t Take(Data piece) override { return host.Ask(Asked::kPiece, 0, 0, piece).status; }
    uint32_t Finish() override {
        is_whole = true;
        return host.Ask(Asked::kWhole, 0, 0, {}).status;
    }

  private:
    DistantHost& host;
    bool is_whole = false;
};

agent::FileOpening DistantHost::OpenFile(const agent::FileAnnouncement& file) {
    FileRecord record = {};
    record.size = file.size;
    record.flags = file.flags;
    std::ranges::copy(file.args, record.args);
    zwmgmt::SetFixedText(record.name, file.name);
    zwmgmt::SetFixedText(record.extra, file.extra);
    const agent::Reply reply =
        Ask(Asked::kFile, 0, 0, {reinterpret_cast<const uint8_t*>(&record), sizeof(record)});
    if (reply.status != zwmgmt::kSuccess) return {.status = reply.status, .sink = nullptr};
    return {.status = zwmgmt::kSuccess, .sink = std::make_unique<DistantSink>(*this)};
}

agent::Options OptionsFor(const Config& config, const std::vector<int>& listening) {
    agent::Options options;
    options.listening.assign(listening.begin(), listening.end());
    options.most_clients = config.clients;
    options.most_clients_of_address = config.clients_of_address;
    options.certificate_file = config.certificate;
    options.client_authorities = config.client_authorities;
    options.certificate_required = !config.certificates_log_in;
    options.limits = {.handshake = Seconds(config.handshake_seconds),
                      .opening = Seconds(config.opening_seconds),
                      .login = Seconds(config.login_seconds),
                      .idle = Seconds(config.idle_seconds),
                      .request = Seconds(config.request_seconds)};
    options.rejection_delay = {};  // the other half makes guessing slow
    return options;
}

class ControlLine {
  public:
    explicit ControlLine(int its_control) : control(its_control) {}

    bool Tell(Signal signal) {
        const std::lock_guard guard(lock);
        return Send(control, signal);
    }
    bool Hand(int channel, int client) {
        const std::lock_guard guard(lock);
        return SendSession(control, channel, client);
    }
    std::optional<Notice> Next() const { return Receive(control); }

  private:
    const int control;
    std::mutex lock;
};

void ServeClient(agent::Wire& wire, agent::Visit& visit, agent::Options options,
                 ControlLine& control) {
    const int client = static_cast<int>(visit.socket);
    Descriptor own, others;
    if (!MakeChannel(&own, &others) || !control.Hand(others.Number(), client)) return;
    others.Close();
    DistantHost host(std::move(own));
    const std::vector<uint8_t> chain =
        options.certificate_required ? std::vector<uint8_t>() : wire.Certificates();
    if (!chain.empty() && chain.size() <= kLongestChain && host.LogInByCertificates(chain)) {
        visit.progress = agent::Progress::kLoggedIn;
    } else {
        options.login = [&](const LoginRecord& record) {
            const uint32_t status = host.LogIn(record, client);
            if (status == zwmgmt::kSuccess) visit.progress = agent::Progress::kLoggedIn;
            return status;
        };
    }
    agent::ClientSession session(wire, host, options);
    while (host.IsThere() && session.ServeOne()) {
    }
}

int Fail(const std::string& error) {
    std::fprintf(stderr, "korvane_zmagent: %s\n", error.c_str());
    return 1;
}

}  // namespace

int ServeNetwork(const Config& config, int control, const std::vector<int>& listening) {
    ControlLine line(control);
    const agent::Options options = OptionsFor(config, listening);
    agent::Server server(
        [&](agent::Wire& wire, agent::Visit& visit) { ServeClient(wire, visit, options, line); },
        options);
    std::string error;
    // It is ready before its first client is: nothing else is said before that.
    if (!server.Prepare(&error) || !EnterCage(config, &error) || !line.Tell(Signal::kReady) ||
        !server.Start(&error)) {
        return Fail(error);
    }
    bool is_replaced = false;
    while (const auto notice = line.Next()) {
        is_replaced = notice->signal == Signal::kLeave;
        if (notice->signal != Signal::kAlive || !line.Tell(Signal::kAlive)) break;
    }
    const Seconds limit(config.finish_seconds);
    // Threads that wait for the other half are not waited for.
    const std::jthread last([&](const std::stop_token& done) {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any moment;
        const Seconds whole = (is_replaced ? limit : Seconds(0)) + limit + Seconds(1);
        if (!moment.wait_for(lock, done, whole, [&] { return done.stop_requested(); })) _exit(0);
    });
    server.Finish(is_replaced ? limit : Seconds(0), limit);
    return 0;
}

}  // namespace zmagent
