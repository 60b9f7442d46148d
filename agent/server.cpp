#include "agent/server.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <system_error>
#include <utility>

#include "agent/client_session.h"
#include "agent/wire.h"

namespace zwmgmt::agent {
namespace {

constexpr platform::Milliseconds kAcceptRound{200};

}  // namespace

Server::Server(HostModel& host_model, Options agent_options)
    : Server(
          [this, &host_model](Wire& wire, Visit&) {
              ClientSession session(wire, host_model, options);
              while (session.ServeOne()) {
              }
          },
          std::move(agent_options)) {}

Server::Server(ServeClient serve_client, Options agent_options)
    : options(std::move(agent_options)), serve(std::move(serve_client)) {}

Server::~Server() { Stop(); }

bool Server::Prepare(std::string* error) {
    sockets_started = platform::StartSockets();
    if (!sockets_started) {
        *error = "the system's sockets cannot be used";
        return false;
    }
    context = MakeServerContext(options.certificate_file, options.key_file, error);
    if (!context) return false;
    if (options.tls_version != 0) {
        SSL_CTX_set_min_proto_version(context.get(), options.tls_version);
        SSL_CTX_set_max_proto_version(context.get(), options.tls_version);
    }
    if (!AskForCertificates(context.get(), options.client_authorities, options.certificate_required,
                            error)) {
        return false;
    }
    return !options.listening.empty() || listeners.Open(options.listen, options.port, error);
}

bool Server::Start(std::string* error) {
    if (!context && !Prepare(error)) return false;
    acceptor = std::thread([this] { AcceptClients(); });
    return true;
}

void Server::StopAccepting() {
    stopping.request_stop();
    // Others may still take clients from sockets that are not the server's own.
    for (const auto listener : listeners.Sockets()) platform::CloseBothWays(listener);
    if (acceptor.joinable()) acceptor.join();
    listeners.Close();
}

bool Server::AllGone(platform::Milliseconds limit) {
    std::unique_lock lock(ending);
    return client_is_done.wait_for(lock, limit, [this] {
        return std::ranges::all_of(clients,
                                   [](const Client& client) { return client.done.load(); });
    });
}

void Server::Finish(platform::Milliseconds patience, platform::Milliseconds limit) {
    StopAccepting();
    if (!AllGone(patience)) {
        for (const Client& client : clients) platform::HalfCloseForReceiving(client.socket);
        AllGone(limit);
    }
    Stop();
}

void Server::Stop() {
    StopAccepting();
    ReapClients(true);
    if (std::exchange(sockets_started, false)) platform::StopSockets();
}

void Server::AcceptClients() {
    std::vector<platform::SocketHandle> turns =
        options.listening.empty() ? listeners.Sockets() : options.listening;
    while (!stopping.stop_requested()) {
        const auto socket = platform::Accept(turns, kAcceptRound);
        // No listener keeps the others waiting.
        std::rotate(turns.begin(), turns.begin() + 1, turns.end());
        ReapClients(false);
        if (socket == platform::kNoSocket) continue;
        const auto address = platform::PeerOf(socket);
        if (!address || !HasRoomFor(*address) || !MakeRoom()) {
            platform::CloseSocket(socket);
            continue;
        }
        Client& client = clients.emplace_back();
        client.socket = socket;
        client.address = *address;
        try {
            client.thread = std::thread([this, &client] { Serve(&client); });
        } catch (const std::system_error&) {  // no thread to be had: the client is turned away
            platform::CloseSocket(socket);
            clients.pop_back();
        }
    }
}

bool Server::HasRoomFor(const platform::Address& address) const {
    if (options.most_clients_of_address == 0) return true;
    const platform::Address network = platform::NetworkOf(address);
    const auto of_address = std::ranges::count_if(clients, [&](const Client& client) {
        return platform::NetworkOf(client.address) == network;
    });
    return static_cast<size_t>(of_address) < options.most_clients_of_address;
}

/// Where all places are taken the oldest of those makes room who have come least far, so that
/// clients that do nothing keep nobody out; who has logged in stays.
bool Server::MakeRoom() {
    const size_t most = options.most_clients;
    const auto leaving = std::ranges::count(clients, true, &Client::makes_room);
    if (most == 0 || clients.size() - static_cast<size_t>(leaving) < most) return true;
    const auto rank = [](const Client& client) {
        return client.makes_room ? Progress::kLoggedIn : client.progress.load();
    };
    const auto least = std::ranges::min_element(clients, {}, rank);
    if (rank(*least) == Progress::kLoggedIn || clients.size() >= 2 * most) return false;
    least->makes_room = true;
    platform::CloseBothWays(least->socket);
    return true;
}

void Server::ReapClients(bool all) {
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

void Server::Serve(Client* client) {
    try {
        Converse(client);
    } catch (const std::exception&) {  // no memory, or no thread: it is this client's end alone
    }
    platform::CloseBothWays(client->socket);
    const std::lock_guard lock(ending);
    client->done = true;
    client_is_done.notify_one();
}

void Server::Converse(Client* client) {
    std::unique_ptr<TlsWire> tls =
        TlsWire::Accept(context.get(), client->socket, options.limits.handshake);
    if (!tls) return;
    client->progress = Progress::kSecured;
    const std::unique_ptr<Wire> wire = options.wrap ? options.wrap(std::move(tls)) : std::move(tls);
    serve(*wire, *client);
    wire->End();
}

}  // namespace zwmgmt::agent
