#include "linux_agent/certificates.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>

namespace zmagent {
namespace {

constexpr int kMostCertificates = 10;
constexpr int kLeastSecurity = 2;  // as TLS has it: keys and digests worth 112 bits

struct FreeCertificates {
    void operator()(STACK_OF(X509) * chain) const { sk_X509_pop_free(chain, X509_free); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_STORE_CTX* check) const { X509_STORE_CTX_free(check); }
    void operator()(unsigned char* text) const { OPENSSL_free(text); }
};
template <class Type>
using Owned = std::unique_ptr<Type, FreeCertificates>;

/// Null where the bytes are no chain.
Owned<STACK_OF(X509)> ChainIn(std::span<const uint8_t> bytes) {
    Owned<STACK_OF(X509)> chain(sk_X509_new_null());
    const uint8_t* next = bytes.data();
    const uint8_t* const end = next + bytes.size();
    while (chain && next != end) {
        Owned<X509> certificate(d2i_X509(nullptr, &next, end - next));
        if (!certificate || sk_X509_num(chain.get()) == kMostCertificates ||
            sk_X509_push(chain.get(), certificate.get()) == 0) {
            return nullptr;
        }
        certificate.release();
    }
    return chain && sk_X509_num(chain.get()) != 0 ? std::move(chain) : nullptr;
}

/// The one that the subject has; empty where it has none or several, or one with odd characters.
std::string CommonName(const X509* certificate) {
    const X509_NAME* subject = X509_get_subject_name(certificate);
    const int place = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (place < 0 || X509_NAME_get_index_by_NID(subject, NID_commonName, place) >= 0) return {};
    unsigned char* bytes = nullptr;
    const int size =
        ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, place)));
    const Owned<unsigned char> held(bytes);
    if (size <= 0) return {};
    std::string name(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
    const auto is_odd = [](char c) { return c <= ' ' || c > '~' || c == '/'; };
    return std::any_of(name.begin(), name.end(), is_odd) ? std::string() : name;
}

}  // namespace

Authorities ReadAuthorities(const std::string& file, std::string* error) {
    ERR_clear_error();
    Authorities store(X509_STORE_new());
    if (store && X509_STORE_load_file(store.get(), file.c_str()) == 1) return store;
    *error = "cannot use the authorities of " + file + ": " +
             ERR_error_string(ERR_peek_last_error(), nullptr);
    return nullptr;
}

std::string UserOf(X509_STORE* authorities, std::span<const uint8_t> bytes, std::string* reason) {
    const Owned<STACK_OF(X509)> chain = ChainIn(bytes);
    const Owned<X509_STORE_CTX> check(X509_STORE_CTX_new());
    *reason = "not a chain of certificates";
    if (!chain || !check) return {};
    X509* const own = sk_X509_value(chain.get(), 0);
    if (X509_STORE_CTX_init(check.get(), authorities, own, chain.get()) != 1 ||
        X509_STORE_CTX_set_purpose(check.get(), X509_PURPOSE_SSL_CLIENT) != 1) {
        return {};
    }
    X509_VERIFY_PARAM_set_auth_level(X509_STORE_CTX_get0_param(check.get()), kLeastSecurity);
    if (X509_verify_cert(check.get()) != 1) {
        *reason = X509_verify_cert_error_string(X509_STORE_CTX_get_error(check.get()));
        return {};
    }
    std::string name = CommonName(own);
    *reason = name.empty() ? "the certificate names no user" : "";
    return name;
}

}  // namespace zmagent
