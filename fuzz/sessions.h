/// Sessions that have learnt an agent's OS, one per code, for targets that build requests or print
/// replies.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "agent/server.h"
#include "zwmgmt/zwmgmt_interface.h"

struct NamelessHost : zwmgmt::agent::HostModel {
    explicit NamelessHost(uint8_t os_code) : os(os_code) {}
    uint8_t OsType() const override { return os; }
    uint8_t WordSize() const override { return 8; }
    zwmgmt::agent::Reply Answer(uint8_t, uint16_t, std::span<const uint8_t>) override { return {}; }
    uint8_t os;
};

/// The code comes from an opening, as always. Disconnected; what they print goes nowhere.
inline std::vector<std::unique_ptr<ZwMgmt_interface>> Sessions() {
    std::vector<std::unique_ptr<ZwMgmt_interface>> sessions;
    std::vector<char> result(zwmgmt::kResultBufferSize);
    FILE* nowhere = std::fopen("/dev/null", "w");
    for (uint8_t os = 0; os <= 9; ++os) {
        NamelessHost host(os);
        zwmgmt::agent::Server agent(host, {});
        std::string error;
        auto session = std::make_unique<ZwMgmt_interface>();
        if (!agent.Start(&error) || session->CLConnectToServer("127.0.0.1", "fuzz", agent.Port(),
                                                               result.data()) != zwmgmt::kSuccess) {
            std::abort();
        }
        session->CLDisconnectFromServer();
        session->SetOutputStream(nowhere);
        sessions.push_back(std::move(session));
    }
    return sessions;
}
