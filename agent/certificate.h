/// The agent's TLS identity.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace zwmgmt::agent {

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeContext>;

/// A server context for TLS 1.2 with AES256-SHA and for TLS 1.3, with certificate and key from a
/// PEM file or, when the path is empty, a throw-away pair made now. Null, with the reason in
/// *error, when that fails.
TlsContext MakeServerContext(const std::string& certificate_file, std::string* error);

}  // namespace zwmgmt::agent
