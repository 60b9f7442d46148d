#include "session/peer.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>

#include "platform/address.h"

namespace zwmgmt {
namespace {

template <auto Free>
struct Freed {
    template <class Object>
    void operator()(Object* object) const {
        Free(object);
    }
};

using Texts = std::unique_ptr<BIO, Freed<BIO_free>>;

std::string_view Written(BIO* texts) {
    char* bytes = nullptr;
    const long length = BIO_get_mem_data(texts, &bytes);
    return {bytes, length > 0 ? static_cast<size_t>(length) : 0};
}

template <size_t Capacity>
void Copy(char (&text)[Capacity], std::string_view from) {
    std::snprintf(text, Capacity, "%.*s", static_cast<int>(std::min(from.size(), Capacity - 1)),
                  from.data());
}

/// SHA-256 of the key as certificates carry it, in base 64 without padding.
void WriteFingerprint(X509* certificate, Peer* peer) {
    unsigned char* key = nullptr;
    const int length = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &key);
    if (length <= 0) return;
    unsigned char digest[32];
    const bool digested =
        EVP_Digest(key, static_cast<size_t>(length), digest, nullptr, EVP_sha256(), nullptr) == 1;
    OPENSSL_free(key);
    if (!digested) return;
    unsigned char text[45];  // with padding, which is left out
    EVP_EncodeBlock(text, digest, sizeof(digest));
    text[kFingerprintLength - (sizeof(kFingerprintHead) - 1)] = '\0';
    std::snprintf(peer->fingerprint, sizeof(peer->fingerprint), "%s%s", kFingerprintHead,
                  reinterpret_cast<const char*>(text));
}

template <size_t Capacity>
void WriteName(const X509_NAME* name, char (&text)[Capacity]) {
    const Texts texts(BIO_new(BIO_s_mem()));
    if (texts && X509_NAME_print_ex(texts.get(), name, 0, XN_FLAG_ONELINE) >= 0) {
        Copy(text, Written(texts.get()));
    }
}

/// A host name as it stands, an address as people write it, anything else as "".
std::string_view NameOf(int type, const ASN1_STRING* value, char (&address)[46]) {
    const unsigned char* bytes = ASN1_STRING_get0_data(value);
    const auto length = static_cast<size_t>(ASN1_STRING_length(value));
    if (type == GEN_DNS) return {reinterpret_cast<const char*>(bytes), length};
    for (const auto family : {platform::Family::kIpv4, platform::Family::kIpv6}) {
        if (type == GEN_IPADD && length == platform::AddressSize(family) &&
            platform::FormatAddress(family, bytes, address, sizeof(address))) {
            return address;
        }
    }
    return "";
}

void WriteNames(X509* certificate, Peer* peer) {
    const std::unique_ptr<GENERAL_NAMES, Freed<GENERAL_NAMES_free>> names(
        static_cast<GENERAL_NAMES*>(
            X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    size_t used = 0;
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        int type = 0;
        const auto* value = static_cast<const ASN1_STRING*>(
            GENERAL_NAME_get0_value(sk_GENERAL_NAME_value(names.get(), i), &type));
        char address[46] = "";
        const std::string_view text = NameOf(type, value, address);
        const bool plain = std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7F; });
        if (text.empty() || !plain || used + 1 + text.size() >= sizeof(peer->names)) continue;
        if (used != 0) peer->names[used++] = ' ';
        std::memcpy(peer->names + used, text.data(), text.size());
        used += text.size();
    }
}

void WriteTime(const ASN1_TIME* time, Peer* peer) {
    tm parts = {};
    if (ASN1_TIME_to_tm(time, &parts) == 1) {
        std::strftime(peer->valid_until, sizeof(peer->valid_until), "%Y-%m-%dT%H:%M:%SZ", &parts);
    }
}

}  // namespace

Peer PeerOf(SSL* session) {
    Peer peer;
    X509* certificate = SSL_get0_peer_certificate(session);
    if (certificate == nullptr) return peer;
    Copy(peer.tls_version, SSL_get_version(session));
    WriteFingerprint(certificate, &peer);
    WriteName(X509_get_subject_name(certificate), peer.subject);
    WriteName(X509_get_issuer_name(certificate), peer.issuer);
    WriteNames(certificate, &peer);
    WriteTime(X509_get0_notAfter(certificate), &peer);
    return peer;
}

uint32_t WritePeerChain(SSL* session, char* pem, uint32_t capacity) {
    const Texts texts(BIO_new(BIO_s_mem()));
    const STACK_OF(X509)* chain = SSL_get_peer_cert_chain(session);
    for (int i = 0; texts && i < sk_X509_num(chain); ++i) {
        PEM_write_bio_X509(texts.get(), sk_X509_value(chain, i));
    }
    const std::string_view whole = texts ? Written(texts.get()) : "";
    if (capacity > 0)
        std::snprintf(pem, capacity, "%.*s", static_cast<int>(whole.size()), whole.data());
    return static_cast<uint32_t>(whole.size());
}

}  // namespace zwmgmt
