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

/// How long clients may take.
struct TimeLimits {
    platform::Milliseconds handshake{15'000};  // of TLS
    platform::Milliseconds opening{15'000};    // from there until the opening message is there
    platform::Milliseconds login{300'000};     // then, where one is asked for: a person may type
    platform::Milliseconds idle{3'600'000};    // between requests
    platform::Milliseconds request{60'000};    // for a request's data behind its header
};

struct Options {
    /// IPv4 and IPv6 addresses, "localhost" or "any", as Listeners takes them.
    std::vector<std::string> listen = {"localhost"};
    uint16_t port = 0;  // of all of them; 0: any that is free for all
    /// Sockets that listen already, which stay the caller's; with them the two above mean nothing.
    std::vector<platform::SocketHandle> listening = {};
    size_t most_clients = 0;             // at once; 0: no limit
    size_t most_clients_of_address = 0;  // the same of those that come from one address
    bool grant_token = true;
    int tls_version = 0;                  // TLS1_2_VERSION or TLS1_3_VERSION; 0: both
    std::string certificate_file = {};    // PEM; "": a certificate that vouches for itself
    std::string key_file = {};            // where its key is kept; "": it is thrown away
    std::string client_authorities = {};  // PEM: who has to vouch for clients; "": nobody
    bool certificate_required = true;     // of each client, where there are authorities

    /// The status that a login is answered with; without this no login is asked for. This and the
    /// next two are called from the clients' threads.
    std::function<uint32_t(const LoginRecord&)> login = {};
    /// Shown every message as it came from the wire, before it is answered.
    std::function<void(std::span<const uint8_t> header, std::span<const uint8_t> data)> tap = {};
    /// What each new session's wire is put into; without this it stays bare.
    WrapWire wrap = {};

    /// How long the answer to a rejected login takes, so that guessing does.
    platform::Milliseconds rejection_delay{250};
    TimeLimits limits = {};
};

/// A login that takes one user with one password.
struct OneUser {
    std::string user;
    std::string password;
    uint32_t rejection = kLoginRejected;

    uint32_t operator()(const LoginRecord& login) const;
};

}  // namespace zwmgmt::agent
