#include "linux_agent/keeper.h"

#include <cstdio>
#include <system_error>
#include <utility>

namespace zmagent {

namespace platform = zwmgmt::platform;

Keeper::~Keeper() {
    for (Session& session : sessions) session.thread.join();
}

void Keeper::Begin(std::shared_ptr<const Service> service, Descriptor channel, Descriptor client) {
    // Twice as many as one network half may have: while one follows another there are two.
    if (sessions.size() >= size_t{2} * service->config.clients) return;
    const auto here = platform::LocalOf(client.Number());
    const auto there = platform::PeerOf(client.Number());
    if (!here || !there || !channel) return;
    // It goes into the thread by a pointer, as what a function holds is copied.
    auto served = std::make_shared<ClientService>(
        std::move(service), Shared{audit, logins, probes, installer, confirmations},
        std::move(channel), std::move(client), Ends{.host = *here, .client = *there});
    Session& session = sessions.emplace_back();
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
