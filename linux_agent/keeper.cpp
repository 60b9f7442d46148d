#include "linux_agent/keeper.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <utility>

namespace zmagent {

namespace platform = zwmgmt::platform;

namespace {

/// A client might be handed over as the channel, and then nobody stands between.
bool IsChannel(const Descriptor& channel) {
    int domain = 0, type = 0;
    socklen_t size = sizeof(int);
    return getsockopt(channel.Number(), SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
           getsockopt(channel.Number(), SOL_SOCKET, SO_TYPE, &type, &size) == 0 &&
           domain == AF_UNIX && type == SOCK_STREAM;
}

}  // namespace

Keeper::~Keeper() {
    for (Session& session : sessions) session.thread.join();
}

void Keeper::HangUp(const Service* service) {
    for (const Session& session : sessions) {
        const auto served = session.served.lock();
        if (served && (service == nullptr || served->IsServedBy(service))) served->HangUp();
    }
}

bool Keeper::Close(Clock::time_point last) {
    confirmations.Close();
    HangUp(nullptr);
    installer.Stop();
    const auto is_done = [](const Session& session) { return session.done.load(); };
    while (!std::ranges::all_of(sessions, is_done)) {
        if (Clock::now() >= last) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

void Keeper::Begin(std::shared_ptr<const Service> service, Descriptor channel, Descriptor client) {
    // Twice as many as one network half may have: while one follows another there are two.
    if (sessions.size() >= size_t{2} * service->config.clients) return;
    const auto here = platform::LocalOf(client.Number());
    const auto there = platform::PeerOf(client.Number());
    if (!here || !there || !IsChannel(channel)) return;
    // It goes into the thread by a pointer, as what a function holds is copied.
    auto served = std::make_shared<ClientService>(
        std::move(service), Shared{audit, logins, probes, installer, confirmations},
        std::move(channel), std::move(client), Ends{.host = *here, .client = *there});
    Session& session = sessions.emplace_back();
    session.served = served;
    try {
        session.thread = std::thread([&session, served = std::move(served)] {
            try {
                while (served->AnswerOne()) {
                }
            } catch (const std::exception& failure) {  // no memory: it is this client's end alone
                std::fprintf(stderr, "korvane_zmagent: a session ended: %s\n", failure.what());
            }
            session.done = true;
        });
    } catch (const std::system_error&) {  // no thread to be had: the client is turned away
        sessions.pop_back();
    }
}

void Keeper::Reap() {
    for (auto session = sessions.begin(); session != sessions.end();) {
        if (!session->done) {
            ++session;
            continue;
        }
        session->thread.join();
        session = sessions.erase(session);
    }
}

}  // namespace zmagent
