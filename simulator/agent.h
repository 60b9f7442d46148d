/// The wire half of the simulated agent: accepts TLS, frames messages, answers opening, login and
/// logout, takes files, and hands every other request to the host model. It knows no command.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "platform/socket.h"
#include "simulator/certificate.h"
#include "simulator/host_model.h"
#include "simulator/wire_faults.h"
#include "zwmgmt/message.h"

namespace zmsim {

struct Login {
    std::string user;
    std::string password;
};

struct AgentOptions {
    std::string listen = "127.0.0.1";
    uint16_t port = 0;           // 0: any free one
    std::optional<Login> login;  // without it no login is asked for
    bool grant_token = true;
    bool split_replies = false;  // header and data in TLS records of their own
    int tls_version = 0;         // TLS1_2_VERSION or TLS1_3_VERSION; 0: both
    std::string certificate_file;

    /// Shown every message as it came from the wire, before it is answered; called from the
    /// clients' threads.
    std::function<void(std::span<const uint8_t> header, std::span<const uint8_t> data)> tap;
    /// What a login with other words than `login` is answered with.
    uint32_t rejection = 225;
    /// How long such an answer takes, so that guessing does.
    zwmgmt::platform::Milliseconds rejection_delay{250};
    /// How long after the TLS handshake its opening message may take.
    zwmgmt::platform::Milliseconds opening_limit{15'000};
    FileOrders files;
    std::function<WireFaults()> faults;  // asked once a session; none: no faults
};

class Agent {
  public:
    /// The model outlives the agent.
    Agent(HostModel& model, AgentOptions options);
    ~Agent();
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    /// Begins to serve in threads of its own; false with the reason in *error.
    bool Start(std::string* error);

    /// The port that is listened on, once started.
    uint16_t Port() const { return options.port; }

    /// Ends every client and returns when no thread is left.
    void Stop();

  private:
    struct Client {
        zwmgmt::platform::SocketHandle socket = zwmgmt::platform::kNoSocket;
        std::atomic<bool> done = false;
        std::thread thread;
    };

    void AcceptClients();
    void Serve(Client* client);
    void ReapClients(bool all);

    HostModel& model;
    AgentOptions options;
    TlsContext context;
    bool sockets_started = false;
    zwmgmt::platform::SocketHandle listener = zwmgmt::platform::kNoSocket;
    std::stop_source stopping;
    std::thread acceptor;
    std::list<Client> clients;  // touched by the acceptor alone while it runs
};

}  // namespace zmsim
