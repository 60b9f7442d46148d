/// The wire half of an agent: accepts TLS, frames messages, answers opening, login and logout,
/// takes files, and hands every other request to the host model. It knows no command.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "agent/certificate.h"
#include "agent/host_model.h"
#include "agent/options.h"
#include "agent/wire.h"
#include "platform/socket.h"

namespace zwmgmt::agent {

/// Serves one client until its session is over; called from the clients' threads.
using ServeClient = std::function<void(Wire&)>;

class Server {
  public:
    /// The model outlives the server.
    Server(HostModel& host_model, Options agent_options);
    /// Clients are served otherwise: of the options, those of login and token mean nothing.
    Server(ServeClient serve_client, Options agent_options);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Begins to serve in threads of its own; false with the reason in *error.
    bool Start(std::string* error);

    /// The port that is listened on, once started.
    uint16_t Port() const { return options.port; }

    /// Ends every client and returns when no thread is left.
    void Stop();

  private:
    struct Client {
        platform::SocketHandle socket = platform::kNoSocket;
        std::atomic<bool> done = false;
        std::thread thread;
    };

    bool Listen(std::string* error);
    bool ListenOn(const std::vector<platform::Address>& addresses, std::string* error);
    void CloseListeners();
    void AcceptClients();
    void Serve(Client* client);
    void Converse(platform::SocketHandle socket);
    void ReapClients(bool all);

    Options options;
    ServeClient serve;
    TlsContext context;
    bool sockets_started = false;
    std::vector<platform::SocketHandle> listeners;
    std::stop_source stopping;
    std::thread acceptor;
    std::list<Client> clients;  // touched by the acceptor alone while it runs
};

}  // namespace zwmgmt::agent
