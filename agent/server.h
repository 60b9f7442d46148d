/// The wire half of an agent: accepts TLS, frames messages, answers opening, login and logout,
/// takes files, and hands every other request to the host model. It knows no command.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "agent/certificate.h"
#include "agent/host_model.h"
#include "agent/listeners.h"
#include "agent/options.h"
#include "agent/wire.h"
#include "platform/socket.h"

namespace zwmgmt::agent {

/// How far a client has come.
enum class Progress : uint8_t { kConnected, kSecured, kLoggedIn };

/// A client as those see it who serve it.
struct Visit {
    platform::SocketHandle socket = platform::kNoSocket;
    std::atomic<Progress> progress = Progress::kConnected;
};

/// Serves one client until its session is over; called from the clients' threads. Who notes that it
/// has logged in keeps it from making room for others.
using ServeClient = std::function<void(Wire&, Visit&)>;

class Server {
  public:
    /// The model outlives the server.
    Server(HostModel& host_model, Options agent_options);
    /// Clients are served otherwise: of the options, those of login and token mean nothing.
    Server(ServeClient serve_client, Options agent_options);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Reads what the options name and opens the listeners; false with the reason in *error.
    bool Prepare(std::string* error);
    /// Begins to serve in threads of its own, prepared or not; false with the reason in *error.
    bool Start(std::string* error);

    /// The port that is listened on, once prepared.
    uint16_t Port() const { return listeners.Port(); }

    /// Takes no more clients and stops when they have gone. Those that have not after a while have
    /// the answer that they wait for and are told to go; what takes longer than the limit then is
    /// broken off.
    void Finish(platform::Milliseconds patience, platform::Milliseconds limit);
    /// Ends every client and returns when no thread is left.
    void Stop();

  private:
    struct Client : Visit {
        platform::Address address;
        bool makes_room = false;  // told to go
        std::atomic<bool> done = false;
        std::thread thread;
    };

    void AcceptClients();
    bool HasRoomFor(const platform::Address& address) const;
    bool MakeRoom();
    void StopAccepting();
    bool AllGone(platform::Milliseconds limit);
    void Serve(Client* client);
    void Converse(Client* client);
    void ReapClients(bool all);

    Options options;
    ServeClient serve;
    TlsContext context;
    bool sockets_started = false;
    Listeners listeners;
    std::stop_source stopping;
    std::thread acceptor;
    std::list<Client> clients;  // touched by the acceptor alone while it runs
    std::mutex ending;
    std::condition_variable client_is_done;
};

}  // namespace zwmgmt::agent
