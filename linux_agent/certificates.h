/// Clients' certificates as the privileged half sees them: as a chain, without the key.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace zmagent {

struct FreeStore {
    void operator()(X509_STORE* store) const { X509_STORE_free(store); }
};
using Authorities = std::unique_ptr<X509_STORE, FreeStore>;

/// Those of a PEM file; null, with the reason in *error, when it cannot be used.
Authorities ReadAuthorities(const std::string& file, std::string* error);

/// The common name of the first certificate of the chain (DER, one behind the other), where the
/// authorities vouch for it as a client's; empty, with the reason in *reason, where they do not.
std::string UserOf(X509_STORE* authorities, std::span<const uint8_t> chain, std::string* reason);

}  // namespace zmagent
