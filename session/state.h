/// What a session is made of: what ZwMgmt_interface holds inside, which only those files see that
/// work on it. All others ask the session.
#pragma once

#include <cstdio>
#include <type_traits>

#include "session/compatibility.h"
#include "session/exchange.h"
#include "session/login.h"
#include "session/tls_context.h"

class ZwMgmt_interface;

namespace zwmgmt {

struct Remarks;
class Talk;

/// Where the library's texts go, and whether lists are printed.
struct Voice {
    FILE* stream = nullptr;  // null: standard output
    bool build_list_mode = false;
    Remarks* remarks = nullptr;  // given: requests are built, not sent; nothing is printed
    Talk* talk = nullptr;        // given: takes what would be printed

    FILE* Stream() const { return stream != nullptr ? stream : stdout; }
};

/// Copied byte by byte with the session: connection and TLS context belong to all copies, of which
/// one is torn down.
struct SessionState {
    static SessionState& Of(ZwMgmt_interface& session);
    static const SessionState& Of(const ZwMgmt_interface& session);

    SSL_CTX* tls_context = nullptr;
    bool sockets_started = false;
    PeerCheck peer_check;
    Exchange exchange;
    Login login;
    Compatibility compatibility;
    Voice voice;

    // What is known of agent and session.
    uint32_t agent_word_size = 0;
    bool login_required = false;
    uint32_t status = 0;
    char server_address[256] = "";
    uint16_t port = 0;
    int64_t last_success_time = 0;
};

static_assert(std::is_trivially_copyable_v<SessionState>);

}  // namespace zwmgmt
