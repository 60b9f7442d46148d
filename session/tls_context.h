/// TLS contexts of sessions, one for each way to set them up: the sessions of a process that name
/// the same files share one, also from several threads.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace zwmgmt::tls {

/// What a context is made of; files are PEM.
struct ContextSettings {
    std::optional<std::string> trust_store;
    std::optional<std::string> authorities;  // without them anybody is fine; "": the system's own
    std::string certificate, key;            // of this client; "": it has none
    int least_version = TLS1_2_VERSION;
    std::string key_log;  // what secrets are appended to; "": nothing

    bool operator==(const ContextSettings&) const = default;
};

/// The context of a trust store (null: without one), made when no session has one; each wants one
/// ReleaseContext. Null when it cannot be made, with why in `reason`.
SSL_CTX* ShareContext(const char* trust_store, char* reason, size_t capacity);

/// The same with the settings of a context that is held, but for what `change` does to them.
SSL_CTX* ShareContext(const SSL_CTX* like, const std::function<void(ContextSettings&)>& change,
                      char* reason, size_t capacity);

/// The last one to release a context frees it. Null is fine.
void ReleaseContext(SSL_CTX* context);

}  // namespace zwmgmt::tls
