/// How an agent serves.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "agent/wire.h"
#include "zwmgmt/message.h"
#include "zwmgmt/status.h"

namespace zwmgmt::agent {

struct Options {
    /// IPv4 and IPv6 addresses; "localhost" is 127.0.0.1, and ::1 where the machine has it.
    std::vector<std::string> listen = {"localhost"};
    uint16_t port = 0;  // of all of them; 0: any that is free for all
    bool grant_token = true;
    int tls_version = 0;                  // TLS1_2_VERSION or TLS1_3_VERSION; 0: both
    std::string certificate_file = {};    // PEM; "": a certificate that vouches for itself
    std::string key_file = {};            // where its key is kept; "": it is thrown away
    std::string client_authorities = {};  // PEM: who has to vouch for clients; "": nobody

    /// The status that a login is answered with; without this no login is asked for. This and the
    /// next two are called from the clients' threads.
    std::function<uint32_t(const LoginRecord&)> login = {};
    /// Shown every message as it came from the wire, before it is answered.
    std::function<void(std::span<const uint8_t> header, std::span<const uint8_t> data)> tap = {};
    /// What each new session's wire is put into; without this it stays bare.
    WrapWire wrap = {};

    /// How long the answer to a rejected login takes, so that guessing does.
    platform::Milliseconds rejection_delay{250};
    /// How long after the TLS handshake its opening message may take.
    platform::Milliseconds opening_limit{15'000};
};

/// A login that takes one user with one password.
struct OneUser {
    std::string user;
    std::string password;
    uint32_t rejection = kLoginRejected;

    uint32_t operator()(const LoginRecord& login) const;
};

}  // namespace zwmgmt::agent
