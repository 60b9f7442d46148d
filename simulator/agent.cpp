#include "simulator/agent.h"

#include <algorithm>
#include <cstring>
#include <memory>

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

struct FreeSession {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};

/// One client's session: which messages it may send depends on what it has sent before.
class ClientSession {
  public:
    ClientSession(SSL* client_ssl, HostModel& host_model, const AgentOptions& agent_options)
        : ssl(client_ssl), model(host_model), options(agent_options) {}

    /// Serves one message; false when the session is over.
    bool ServeOne() {
        _Message header = {};
        if (!Read(&header, zwmgmt::kHeaderSize) || header.data_length > kLongestRequest) {
            return false;
        }
        std::vector<uint8_t> data(header.data_length);
        if (!Read(data.data(), data.size())) return false;
        if (options.tap) {
            options.tap({reinterpret_cast<const uint8_t*>(&header), zwmgmt::kHeaderSize}, data);
        }
        if (header.service == zwmgmt::kSession) return ServeControl(header, data);
        if (!opened) return false;

        if (login_pending) return SendStatus(zwmgmt::kLoginRejected);
        const Reply reply = model.Answer(header.service, header.opcode, data);
        _Message answer = {};
        answer.service = header.service;
        answer.opcode = header.opcode;
        answer.status = reply.status;
        if (reply.status != zwmgmt::kSuccess) return Send(answer);
        answer.data_length = static_cast<uint32_t>(reply.data.size());
        return Send(answer, reply.data);
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
        return SendStatus(right ? uint32_t{zwmgmt::kSuccess} : options.rejection);
    }

    bool SendStatus(uint32_t status) {
        _Message header = {};
        header.status = status;
        return Send(header);
    }

    bool Send(const _Message& header, std::span<const uint8_t> data = {}) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&header);
        std::vector<uint8_t> record(bytes, bytes + zwmgmt::kHeaderSize);
        if (!options.split_replies) {
            record.insert(record.end(), data.begin(), data.end());
            return Write(record);
        }
        return Write(record) && Write(data);
    }

    bool Read(void* buffer, size_t length) {
        auto* bytes = static_cast<uint8_t*>(buffer);
        while (length > 0) {
            const auto moved = tls::ReadSome(ssl, bytes, length, kIdleLimit);
            if (moved.outcome != tls::Outcome::kDone) return false;
            bytes += moved.bytes;
            length -= moved.bytes;
        }
        return true;
    }

    bool Write(std::span<const uint8_t> bytes) {
        while (!bytes.empty()) {
            const auto moved = tls::WriteSome(ssl, bytes.data(), bytes.size(), kWriteLimit);
            if (moved.outcome != tls::Outcome::kDone) return false;
            bytes = bytes.subspan(moved.bytes);
        }
        return true;
    }

    SSL* ssl;
    HostModel& model;
    const AgentOptions& options;
    bool opened = false;
    bool login_pending = false;
};

}  // namespace

Agent::Agent(HostModel& host_model, AgentOptions agent_options)
    : model(host_model), options(std::move(agent_options)) {}

Agent::~Agent() {
    Stop();
}

bool Agent::Start(std::string* error) {
    platform::StartSockets();
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
    listener = platform::Listen(*address, &options.port);
    if (listener == platform::kNoSocket) {
        *error = "cannot listen on " + options.listen + " port " + std::to_string(options.port);
        return false;
    }
    acceptor = std::thread([this] { AcceptClients(); });
    return true;
}

void Agent::Stop() {
    stopping = true;
    if (acceptor.joinable()) acceptor.join();
    ReapClients(true);
    if (listener != platform::kNoSocket) platform::CloseSocket(listener);
    listener = platform::kNoSocket;
}

void Agent::AcceptClients() {
    while (!stopping) {
        const auto socket = platform::Accept(listener, kAcceptRound);
        ReapClients(false);
        if (socket == platform::kNoSocket) continue;
        Client& client = clients.emplace_back();
        client.socket = socket;
        client.thread = std::thread([this, &client] { Serve(&client); });
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
                ClientSession session(ssl.get(), model, options);
                while (session.ServeOne()) {
                }
            }
            tls::Shutdown(ssl.get());
        }
    }
    platform::CloseBothWays(client->socket);
    client->done = true;
}

}  // namespace zmsim
