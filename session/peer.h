/// What an agent has shown of itself in the handshake.
#pragma once

#include <openssl/ssl.h>

#include <cstdint>

#include "zwmgmt/trust.h"

namespace zwmgmt {

/// Asked after the handshake, before anything is sent.
struct PeerCheck {
    PeerJudge* judge = nullptr;  // null: everybody is fine
    void* context = nullptr;
};

/// Without memory or a certificate the texts that need them are "".
Peer PeerOf(SSL* session);

/// The certificates as PEM, the agent's own first: as much as fits, terminated. Returns the length
/// of the whole.
uint32_t WritePeerChain(SSL* session, char* pem, uint32_t capacity);

}  // namespace zwmgmt
