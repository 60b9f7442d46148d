#include "agent/server.h"

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
    : model(host_model), options(std::move(agent_options)) {}

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

void Server::Stop() {
    stopping.request_stop();
    if (listener != platform::kNoSocket) platform::CloseBothWays(listener);
    if (acceptor.joinable()) acceptor.join();
    ReapClients(true);
    if (listener != platform::kNoSocket) platform::CloseSocket(listener);
    listener = platform::kNoSocket;
    if (std::exchange(sockets_started, false)) platform::StopSockets();
}

void Server::AcceptClients() {
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
    ClientSession session(*wire, model, options);
    while (session.ServeOne()) {
    }
    wire->End();
}

}  // namespace zwmgmt::agent
