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
/// PEM file. When its path is empty, the certificate vouches for itself and is made now, for the
/// key that is kept in key_file (and made when there is none there); when that path is empty, too,
/// or the file cannot be used, for a throw-away key. Null, with the reason in *error, when that
/// fails.
TlsContext MakeServerContext(const std::string& certificate_file, const std::string& key_file,
                             std::string* error);

/// Has clients show a certificate that an authority of the PEM file vouches for, or none where they
/// need not; nothing where the path is empty. False, with the reason in *error, when the file
/// cannot be used.
bool AskForCertificates(SSL_CTX* context, const std::string& authorities, bool required,
                        std::string* error);

/// Makes a file, which its owner alone can read, with a new key and a certificate of ten years that
/// vouches for itself and names the host. False, with the reason in *error, when that fails, or the
/// file is there.
bool MakeCertificateFile(const std::string& file, const std::string& host, std::string* error);

}  // namespace zwmgmt::agent
