/// TLS contexts of sessions, one for each trust store and those who vouch for agents: the sessions
/// of a process that name the same files share one, also from several threads.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>

namespace zwmgmt::tls {

/// The context of a trust store (a PEM file), made when no session has one; each wants one
/// ReleaseContext. Null when it cannot be made, with why in `reason`.
SSL_CTX* ShareContext(const char* trust_store, char* reason, size_t capacity);

/// The same with the trust store of a context that is held, and with authorities that have to vouch
/// for agents: those of a PEM file, or the system's own where it is "".
SSL_CTX* ShareContext(const SSL_CTX* like, const char* authorities, char* reason, size_t capacity);

/// The last one to release a context frees it. Null is fine.
void ReleaseContext(SSL_CTX* context);

}  // namespace zwmgmt::tls
