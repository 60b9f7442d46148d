#include "simulator/certificate.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

namespace zmsim {
namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

constexpr unsigned kKeyBits = 2048;  // RSA: the cipher of TLS 1.2 uses its key exchange
constexpr long kValidSeconds = 30L * 24 * 3600;

std::string TlsError() {
    char text[256];
    ERR_error_string_n(ERR_get_error(), text, sizeof(text));
    return text;
}

bool UseThrowAwayPair(SSL_CTX* context) {
    // One pair serves the whole process: making it takes longer than most sessions.
    static const Key key(EVP_RSA_gen(kKeyBits), EVP_PKEY_free);
    const Certificate certificate(X509_new(), X509_free);
    if (!key || !certificate) return false;
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kValidSeconds);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("simulated agent"), -1, -1,
                               0);
    return X509_set_issuer_name(certificate.get(), name) == 1 &&
           X509_set_pubkey(certificate.get(), key.get()) == 1 &&
           X509_sign(certificate.get(), key.get(), EVP_sha256()) != 0 &&
           SSL_CTX_use_certificate(context, certificate.get()) == 1 &&
           SSL_CTX_use_PrivateKey(context, key.get()) == 1;
}

bool UseFile(SSL_CTX* context, const std::string& file) {
    return SSL_CTX_use_certificate_chain_file(context, file.c_str()) == 1 &&
           SSL_CTX_use_PrivateKey_file(context, file.c_str(), SSL_FILETYPE_PEM) == 1;
}

}  // namespace

TlsContext MakeServerContext(const std::string& certificate_file, std::string* error) {
    ERR_clear_error();
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_cipher_list(context.get(), "AES256-SHA") != 1) {
        *error = "cannot set TLS up: " + TlsError();
        return nullptr;
    }
    SSL_CTX_set_read_ahead(context.get(), 1);
    const bool done = certificate_file.empty() ? UseThrowAwayPair(context.get())
                                               : UseFile(context.get(), certificate_file);
    if (!done) {
        *error = certificate_file.empty()
                     ? "cannot make a certificate: " + TlsError()
                     : "cannot use certificate and key of " + certificate_file + ": " + TlsError();
        return nullptr;
    }
    return context;
}

}  // namespace zmsim
