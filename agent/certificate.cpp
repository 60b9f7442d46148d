#include "agent/certificate.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "agent/local_file.h"
#include "platform/file.h"

namespace zwmgmt::agent {
namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

using Texts = std::unique_ptr<BIO, decltype(&BIO_free)>;

constexpr size_t kLargestFile = 1u << 20;
constexpr unsigned kKeyBits = 2048;  // RSA: the cipher of TLS 1.2 uses its key exchange
constexpr long kMonth = 30L * 24 * 3600;
constexpr long kTenYears = 3653L * 24 * 3600;

/// What went wrong first, without OpenSSL's numbers and names before it.
std::string TlsError() {
    char text[256];
    ERR_error_string_n(ERR_get_error(), text, sizeof(text));
    const std::string_view whole = text;
    return std::string(whole.substr(whole.rfind(':') + 1));
}

/// What clients may call the host: that it is this one, and its name where there is one.
bool AddNames(X509* certificate, const std::string& host) {
    std::string names = "DNS:localhost,IP:127.0.0.1,IP:::1";
    const bool is_plain = std::ranges::all_of(host, [](unsigned char each) {
        return std::isalnum(each) != 0 || each == '-' || each == '.';
    });
    if (!host.empty() && is_plain) names += ",DNS:" + host;
    X509_EXTENSION* const extension =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str());
    const bool added = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return added;
}

/// A certificate that vouches for itself, for so many seconds.
Certificate SelfSigned(EVP_PKEY* key, long valid, const std::string& host = "") {
    Certificate certificate(X509_new(), X509_free);
    if (!certificate) return certificate;
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), valid);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("management agent"), -1, -1,
                               0);
    const bool made = X509_set_issuer_name(certificate.get(), name) == 1 &&
                      X509_set_pubkey(certificate.get(), key) == 1 &&
                      AddNames(certificate.get(), host) &&
                      X509_sign(certificate.get(), key, EVP_sha256()) != 0;
    if (!made) certificate.reset();
    return certificate;
}

bool UsePair(SSL_CTX* context, EVP_PKEY* key) {
    const Certificate certificate =
        key != nullptr ? SelfSigned(key, kMonth) : Certificate(nullptr, X509_free);
    return certificate && SSL_CTX_use_certificate(context, certificate.get()) == 1 &&
           SSL_CTX_use_PrivateKey(context, key) == 1;
}

bool UseThrowAwayPair(SSL_CTX* context) {
    // One pair serves the whole process: making it takes longer than most sessions.
    static const Key key(EVP_RSA_gen(kKeyBits), EVP_PKEY_free);
    return UsePair(context, key.get());
}

/// A key that is locked is not asked for: there need not be anybody to ask.
int NoPassword(char*, int, int, void*) { return 0; }

Texts Open(const std::string& texts) {
    return Texts(BIO_new_mem_buf(texts.data(), static_cast<int>(texts.size())), BIO_free);
}

/// The first certificate of the texts, and those that vouch for it behind.
bool UseCertificates(SSL_CTX* context, const std::string& texts) {
    const Texts source = Open(texts);
    const Certificate own(PEM_read_bio_X509(source.get(), nullptr, NoPassword, nullptr), X509_free);
    if (!own || SSL_CTX_use_certificate(context, own.get()) != 1) return false;
    for (;;) {
        Certificate next(PEM_read_bio_X509(source.get(), nullptr, NoPassword, nullptr), X509_free);
        if (!next) break;
        if (SSL_CTX_add1_chain_cert(context, next.get()) != 1) return false;
    }
    ERR_clear_error();
    return true;
}

Key ParseKey(const std::string& texts) {
    const Texts source = Open(texts);
    return Key(PEM_read_bio_PrivateKey(source.get(), nullptr, NoPassword, nullptr), EVP_PKEY_free);
}

bool UseKey(SSL_CTX* context, const std::string& texts) {
    const Key key = ParseKey(texts);
    return key && SSL_CTX_use_PrivateKey(context, key.get()) == 1;
}

bool UseFile(SSL_CTX* context, const std::string& file, std::string* error) {
    std::string texts;
    if (!ReadLocalFile(file, kLargestFile, &texts, error)) return false;
    if (!UseCertificates(context, texts)) {
        *error = "cannot use the certificate of " + file + ": " + TlsError();
        return false;
    }
    if (!UseKey(context, texts)) {
        *error = "cannot use the key of " + file + ": " + TlsError();
        return false;
    }
    return true;
}

bool AddKey(BIO* texts, EVP_PKEY* key) {
    return texts != nullptr && key != nullptr &&
           PEM_write_bio_PrivateKey(texts, key, nullptr, nullptr, 0, nullptr, nullptr) == 1;
}

/// Writes the texts to the stream, which is closed.
bool WriteTexts(BIO* texts, FILE* stream) {
    if (stream == nullptr) return false;
    char* bytes = nullptr;
    const auto size = static_cast<size_t>(BIO_get_mem_data(texts, &bytes));
    const bool written = std::fwrite(bytes, 1, size, stream) == size;
    return std::fclose(stream) == 0 && written;
}

/// Writes a new key to a file that its owner alone can read.
bool WriteNewKey(const std::string& file) {
    const Key key(EVP_RSA_gen(kKeyBits), EVP_PKEY_free);
    const Texts texts(BIO_new(BIO_s_mem()), BIO_free);
    return AddKey(texts.get(), key.get()) &&
           WriteTexts(texts.get(), platform::AppendPrivately(file.c_str()));
}

/// The key of a file, where one is made when there is none.
Key KeepKey(const std::string& file) {
    std::error_code failure;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path(), failure);
    const platform::FileLock lock((file + ".lock").c_str());
    std::string texts, error;
    if (!lock.Held() || (!std::filesystem::exists(file, failure) && !WriteNewKey(file)) ||
        !ReadLocalFile(file, kLargestFile, &texts, &error)) {
        return {nullptr, EVP_PKEY_free};
    }
    return ParseKey(texts);
}

}  // namespace

TlsContext MakeServerContext(const std::string& certificate_file, const std::string& key_file,
                             std::string* error) {
    ERR_clear_error();
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_cipher_list(context.get(), "AES256-SHA") != 1) {
        *error = "cannot set TLS up: " + TlsError();
        return nullptr;
    }
    SSL_CTX_set_read_ahead(context.get(), 1);
    SSL_CTX_set_options(context.get(), SSL_OP_CLEANSE_PLAINTEXT);  // clients send passwords
    // A request that is cut is not served, whatever cut it: the session ends with a goodbye.
    SSL_CTX_set_options(context.get(), SSL_OP_IGNORE_UNEXPECTED_EOF);
    if (!certificate_file.empty()) {
        return UseFile(context.get(), certificate_file, error) ? std::move(context) : nullptr;
    }
    if (!key_file.empty() && UsePair(context.get(), KeepKey(key_file).get())) return context;
    if (!UseThrowAwayPair(context.get())) {
        *error = "cannot make a certificate: " + TlsError();
        return nullptr;
    }
    return context;
}

bool MakeCertificateFile(const std::string& file, const std::string& host, std::string* error) {
    ERR_clear_error();
    const Key key(EVP_RSA_gen(kKeyBits), EVP_PKEY_free);
    const Certificate certificate =
        key ? SelfSigned(key.get(), kTenYears, host) : Certificate(nullptr, X509_free);
    const Texts texts(BIO_new(BIO_s_mem()), BIO_free);
    if (!certificate || !AddKey(texts.get(), key.get()) ||
        PEM_write_bio_X509(texts.get(), certificate.get()) != 1) {
        *error = "cannot make a certificate: " + TlsError();
        return false;
    }
    FILE* const stream = platform::CreatePrivately(file.c_str());
    if (WriteTexts(texts.get(), stream)) return true;
    *error = "cannot write " + file + ": " + std::strerror(errno);
    if (stream != nullptr) std::remove(file.c_str());  // no half of a key is left
    return false;
}

bool AskForCertificates(SSL_CTX* context, const std::string& authorities, bool required,
                        std::string* error) {
    if (authorities.empty()) return true;
    ERR_clear_error();
    if (SSL_CTX_load_verify_locations(context, authorities.c_str(), nullptr) != 1) {
        *error = "cannot use the authorities of " + authorities + ": " + TlsError();
        return false;
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | (required ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT : 0),
                       nullptr);
    // A session that is taken up again has no chain.
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    SSL_CTX_set_num_tickets(context, 0);
    return true;
}

}  // namespace zwmgmt::agent
