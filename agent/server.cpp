#include "agent/server.h"

#include <algorithm>
#include <memory>
#include <system_error>
#include <utility>

#include "agent/client_session.h"
#include "agent/wire.h"

namespace zwmgmt::agent {
namespace {

constexpr platform::Milliseconds kAcceptRound{200};
/// How often a free port is looked for that is free for every address.
constexpr int kPortTrials = 100;

bool MachineHas(const platform::Address& address) {
    uint16_t any = 0;
    const auto socket = platform::Listen(address, &any);
    if (socket != platform::kNoSocket) platform::CloseSocket(socket);
    return socket != platform::kNoSocket;
}

/// What a text says to listen on, each address once; false when it says nothing of the kind.
bool AddAddresses(std::string text, std::vector<platform::Address>* addresses) {
    std::vector<platform::Address> said;
    if (text == "localhost") {
        said = {platform::kIpv4Loopback};
        if (MachineHas(platform::kIpv6Loopback)) said.push_back(platform::kIpv6Loopback);
    } else {
        if (text.starts_with('[') && text.ends_with(']')) text = text.substr(1, text.size() - 2);
        const auto address = platform::ParseAddress(text.c_str());
        if (!address) return false;
        said = {*address};
    }
    for (const platform::Address& address : said) {
        if (std::ranges::count(*addresses, address) == 0) addresses->push_back(address);
    }
    return true;
}

}  // namespace

Server::Server(HostModel& host_model, Options agent_options)
    : Server(
          [this, &host_model](Wire& wire) {
              ClientSession session(wire, host_model, options);
              while (session.ServeOne()) {
              }
          },
          std::move(agent_options)) {}

Server::Server(ServeClient serve_client, Options agent_options)
    : options(std::move(agent_options)), serve(std::move(serve_client)) {}

Server::~Server() { Stop(); }

bool Server::Start(std::string* error) {
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
    if (!AskForCertificates(context.get(), options.client_authorities, error)) return false;
    if (!Listen(error)) return false;
    acceptor = std::thread([this] { AcceptClients(); });
    return true;
}

bool Server::Listen(std::string* error) {
    std::vector<platform::Address> addresses;
    for (const std::string& text : options.listen) {
        if (AddAddresses(text, &addresses)) continue;
        *error = "neither an address of this machine nor localhost: " + text;
        return false;
    }
    if (addresses.empty() || addresses.size() > platform::kMostSockets) {
        *error = "cannot listen on " + std::to_string(addresses.size()) + " addresses";
        return false;
    }
    // A free port is the first address's; another's may have it in use.
    for (int trials = options.port == 0 ? kPortTrials : 1; trials > 0; --trials) {
        if (ListenOn(addresses, error)) return true;
    }
    return false;
}

/// Opens all listeners or none.
bool Server::ListenOn(const std::vector<platform::Address>& addresses, std::string* error) {
    uint16_t port = options.port;
    for (const platform::Address& address : addresses) {
        platform::Reason reason;
        const auto listener = platform::Listen(address, &port, &reason);
        if (listener == platform::kNoSocket) {
            *error = std::string("cannot listen on ") + platform::FormatAddress(address).text +
                     " port " + std::to_string(port) + ": " + reason.text;
            CloseListeners();
            return false;
        }
        listeners.push_back(listener);
    }
    options.port = port;
    return true;
}

void Server::CloseListeners() {
    for (const auto listener : listeners) platform::CloseSocket(listener);
    listeners.clear();
}

void Server::Stop() {
    stopping.request_stop();
    for (const auto listener : listeners) platform::CloseBothWays(listener);
    if (acceptor.joinable()) acceptor.join();
    ReapClients(true);
    CloseListeners();
    if (std::exchange(sockets_started, false)) platform::StopSockets();
}

void Server::AcceptClients() {
    std::vector<platform::SocketHandle> turns = listeners;
    while (!stopping.stop_requested()) {
        const auto socket = platform::Accept(turns, kAcceptRound);
        // No listener keeps the others waiting.
        std::rotate(turns.begin(), turns.begin() + 1, turns.end());
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
    Converse(client->socket);
    platform::CloseBothWays(client->socket);
    client->done = true;
}

void Server::Converse(platform::SocketHandle socket) {
    std::unique_ptr<TlsWire> tls = TlsWire::Accept(context.get(), socket);
    if (!tls) return;
    const std::unique_ptr<Wire> wire = options.wrap ? options.wrap(std::move(tls)) : std::move(tls);
    serve(*wire);
    wire->End();
}

}  // namespace zwmgmt::agent
