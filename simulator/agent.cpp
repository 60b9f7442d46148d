#include "simulator/agent.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include "session/tls.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {
namespace {

namespace platform = zwmgmt::platform;
namespace tls = zwmgmt::tls;

constexpr platform::Milliseconds kAcceptRound{200};
constexpr platform::Milliseconds kHandshakeLimit{15'000};
constexpr platform::Milliseconds kWriteLimit{15'000};
constexpr platform::Milliseconds kIdleLimit{3'600'000};
constexpr uint32_t kLongestRequest = 1u << 20;

using Clock = std::chrono::steady_clock;

struct FreeSession {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};

/// The bytes of one session, with the faults that were asked for.
class Wire {
  public:
    Wire(SSL* client_ssl, const WireFaults& wire_faults) : ssl(client_ssl), faults(wire_faults) {}

    /// Whether the session ended with a cut instead of a TLS goodbye.
    bool WasCut() const {
        return !faults.goodbye && (written == faults.cut_after || read == faults.cut_after_reading);
    }

    bool Read(void* buffer, size_t length, Clock::time_point deadline) {
        auto* bytes = static_cast<uint8_t*>(buffer);
        if (faults.cut_after_reading) length = std::min(length, *faults.cut_after_reading - read);
        for (size_t left = length; left > 0;) {
            const auto time = std::chrono::ceil<platform::Milliseconds>(deadline - Clock::now());
            if (time.count() <= 0) return false;
            const auto moved = tls::ReadSome(ssl, bytes, left, time);
            if (moved.outcome != tls::Outcome::kDone) return false;
            bytes += moved.bytes;
            left -= moved.bytes;
        }
        read += length;
        return read != faults.cut_after_reading;
    }

    bool Write(std::span<const uint8_t> bytes) {
        if (faults.housekeeping && !KeepHouse()) return false;
        while (!bytes.empty()) {
            if (written == faults.cut_after) return false;
            if (written == faults.stall_after) return Stall();
            const auto moved =
                tls::WriteSome(ssl, bytes.data(), Allowed(bytes.size()), kWriteLimit);
            if (moved.outcome != tls::Outcome::kDone) return false;
            written += moved.bytes;
            bytes = bytes.subspan(moved.bytes);
        }
        return true;
    }

    /// Answers nothing any more, until the client goes.
    bool Stall() {
        uint8_t ignored[256];
        while (tls::ReadSome(ssl, ignored, sizeof(ignored), kIdleLimit).outcome ==
               tls::Outcome::kDone) {
        }
        return false;
    }

  private:
    size_t Allowed(size_t length) const {
        if (faults.record_size != 0) length = std::min(length, faults.record_size);
        if (faults.cut_after) length = std::min(length, *faults.cut_after - written);
        if (faults.stall_after) length = std::min(length, *faults.stall_after - written);
        return length;
    }

    bool KeepHouse() {
        const bool begun = SSL_version(ssl) == TLS1_3_VERSION ? SSL_new_session_ticket(ssl) == 1
                                                              : SSL_renegotiate(ssl) == 1;
        return begun && tls::Handshake(ssl, kHandshakeLimit) == tls::Outcome::kDone;
    }

    SSL* ssl;
    const WireFaults faults;
    size_t read = 0;
    size_t written = 0;
};

/// One client's session: which messages it may send depends on what it has sent before.
class ClientSession {
  public:
    ClientSession(SSL* ssl, platform::SocketHandle client, HostModel& host_model,
                  const AgentOptions& agent_options)
        : faults(agent_options.faults ? agent_options.faults() : WireFaults{}),
          wire(ssl, faults),
          socket(client),
          model(host_model),
          options(agent_options),
          files(agent_options.files) {}

    bool WasCut() const { return wire.WasCut(); }

    /// Serves one message; false when the session is over.
    bool ServeOne() {
        const uint32_t longest = opened ? kLongestRequest : uint32_t{sizeof(LoginRecord)};
        const auto deadline = Clock::now() + (opened ? kIdleLimit : options.opening_limit);
        _Message header = {};
        if (!wire.Read(&header, zwmgmt::kHeaderSize, deadline) || header.data_length > longest) {
            return false;
        }
        std::vector<uint8_t> data(header.data_length);
        if (!wire.Read(data.data(), data.size(), deadline)) return false;
        if (options.tap) {
            options.tap({reinterpret_cast<const uint8_t*>(&header), zwmgmt::kHeaderSize}, data);
        }
        if (header.service == zwmgmt::kSession) return ServeControl(header, data);
        if (!opened) return false;
        if (login_pending) return Send(AnswerTo(header, zwmgmt::kLoginRejected));
        if (!options.grant_token && model.Changes(header.service, header.opcode)) {
            return Send(AnswerTo(header, zwmgmt::kNoReadWriteToken));
        }
        if (header.service == zwmgmt::kSystem && header.opcode == zwmgmt::kInstall) {
            return ServeFile(header, data);
        }
        return ServeRequest(header, data);
    }

  private:
    bool ServeControl(const _Message& header, std::span<const uint8_t> data) {
        LoginRecord record = {};
        if (header.opcode == zwmgmt::kLogoutOpcode || data.size() != sizeof(record)) return false;
        std::memcpy(&record, data.data(), sizeof(record));
        return opened ? ServeLogin(record) : ServeOpening();
    }

    bool ServeOpening() {
        opened = true;
        login_pending = options.login.has_value();
        _Message reply = {};
        reply.os_type = model.OsType();
        reply.word_size = model.WordSize();
        reply.rw_token = options.grant_token;
        reply.opcode = login_pending;
        return Send(reply);
    }

    bool ServeLogin(const LoginRecord& record) {
        const bool right = options.login &&
                           zwmgmt::FixedText(record.user_name) == options.login->user &&
                           zwmgmt::FixedText(record.password) == options.login->password;
        if (right) login_pending = false;
        if (!right && !Delay(options.rejection_delay)) return false;
        _Message reply = {};
        reply.status = right ? uint32_t{zwmgmt::kSuccess} : options.rejection;
        return Send(reply);
    }

    /// False when the client speaks or goes meanwhile, or the agent is stopped, which ends the
    /// connection.
    bool Delay(platform::Milliseconds time) const {
        return platform::WaitFor(socket, platform::Direction::kRead, time) ==
               platform::WaitResult::kTimeout;
    }

    bool ServeFile(const _Message& request, std::span<const uint8_t> data) {
        const std::optional<uint32_t> status = files.Take(data);
        if (!status) return wire.Stall();
        if (const auto file = files.TakeFinished()) model.FileArrived(*file);
        return Send(AnswerTo(request, *status));
    }

    bool ServeRequest(const _Message& request, std::span<const uint8_t> data) {
        const Reply reply = model.Answer(request.service, request.opcode, data);
        _Message answer = AnswerTo(request, reply.status);
        if (reply.status != zwmgmt::kSuccess) return Send(answer);
        const auto length = static_cast<uint32_t>(reply.data.size());
        answer.data_length = length != 0 ? faults.announced_length.value_or(length) : 0;
        return Send(answer, reply.data);
    }

    _Message AnswerTo(const _Message& request, uint32_t status) const {
        _Message answer = {};
        answer.os_type = model.OsType();
        answer.service = request.service;
        answer.opcode = request.opcode;
        answer.status = status;
        return answer;
    }

    bool Send(const _Message& header, std::span<const uint8_t> data = {}) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&header);
        std::vector<uint8_t> record(bytes, bytes + zwmgmt::kHeaderSize);
        if (options.split_replies) return wire.Write(record) && wire.Write(data);
        record.insert(record.end(), data.begin(), data.end());
        return wire.Write(record);
    }

    const WireFaults faults;
    Wire wire;
    const platform::SocketHandle socket;
    HostModel& model;
    const AgentOptions& options;
    FileReceiver files;
    bool opened = false;
    bool login_pending = false;
};

}  // namespace

Agent::Agent(HostModel& host_model, AgentOptions agent_options)
    : model(host_model), options(std::move(agent_options)) {}

Agent::~Agent() { Stop(); }

bool Agent::Start(std::string* error) {
    sockets_started = platform::StartSockets();
    if (!sockets_started) {
        *error = "the system's sockets cannot be used";
        return false;
    }
    context = MakeServerContext(options.certificate_file, error);
    if (!context) return false;
    if (options.tls_version != 0) {
        SSL_CTX_set_min_proto_version(context.get(), options.tls_version);
        SSL_CTX_set_max_proto_version(context.get(), options.tls_version);
    }
    const auto address = platform::ParseIpv4(options.listen.c_str());
    if (!address) {
        *error = "not a dotted quad: " + options.listen;
        return false;
    }
    platform::Reason reason;
    listener = platform::Listen(*address, &options.port, &reason);
    if (listener == platform::kNoSocket) {
        *error = "cannot listen on " + options.listen + " port " + std::to_string(options.port) +
                 ": " + reason.text;
        return false;
    }
    acceptor = std::thread([this] { AcceptClients(); });
    return true;
}

void Agent::Stop() {
    stopping.request_stop();
    if (listener != platform::kNoSocket) platform::CloseBothWays(listener);
    if (acceptor.joinable()) acceptor.join();
    ReapClients(true);
    if (listener != platform::kNoSocket) platform::CloseSocket(listener);
    listener = platform::kNoSocket;
    if (std::exchange(sockets_started, false)) platform::StopSockets();
}

void Agent::AcceptClients() {
    while (!stopping.stop_requested()) {
        const auto socket = platform::Accept(listener, kAcceptRound);
        ReapClients(false);
        if (socket == platform::kNoSocket) continue;
        Client& client = clients.emplace_back();
        client.socket = socket;
        try {
            client.thread = std::thread([this, &client] { Serve(&client); });
        } catch (const std::system_error&) {  // no thread to be had: the client is turned away
            platform::CloseSocket(socket);
            clients.pop_back();
        }
    }
}

void Agent::ReapClients(bool all) {
    for (auto client = clients.begin(); client != clients.end();) {
        if (!all && !client->done) {
            ++client;
            continue;
        }
        platform::CloseBothWays(client->socket);
        client->thread.join();
        platform::CloseSocket(client->socket);
        client = clients.erase(client);
    }
}

void Agent::Serve(Client* client) {
    {
        const std::unique_ptr<SSL, FreeSession> ssl(SSL_new(context.get()));
        if (ssl && tls::Attach(ssl.get(), client->socket)) {
            SSL_set_accept_state(ssl.get());
            if (tls::Handshake(ssl.get(), kHandshakeLimit) == tls::Outcome::kDone) {
                ClientSession session(ssl.get(), client->socket, model, options);
                while (session.ServeOne()) {
                }
                if (!session.WasCut()) tls::Shutdown(ssl.get());
            }
        }
    }
    platform::CloseBothWays(client->socket);
    client->done = true;
}

}  // namespace zmsim
