#include "session/tls_context.h"

#include <openssl/err.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "session/tls.h"

namespace zwmgmt::tls {
namespace {

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

/// Which files a context is made of.
struct Files {
    std::string trust_store;
    std::optional<std::string> authorities;  // without them anybody is fine; "": the system's own

    bool operator==(const Files&) const = default;
};

struct SharedContext {
    Files files;
    std::unique_ptr<SSL_CTX, FreeContext> context;
    size_t sessions = 0;
    SharedContext* next = nullptr;
};

// A plain pointer: sessions may end while the process does, when what has a destructor is gone.
std::mutex mutex;
SharedContext* first = nullptr;

/// Nobody vouches for an agent but these, although the trust store is loaded all the same.
bool LoadAuthorities(SSL_CTX* context, const std::string& file) {
    X509_STORE* store = X509_STORE_new();
    const bool loaded = store != nullptr &&
                        (file.empty() ? X509_STORE_set_default_paths(store)
                                      : X509_STORE_load_file(store, file.c_str())) == 1 &&
                        SSL_CTX_set1_verify_cert_store(context, store) == 1;
    X509_STORE_free(store);
    return loaded;
}

std::unique_ptr<SSL_CTX, FreeContext> MakeContext(const Files& files) {
    ERR_clear_error();
    std::unique_ptr<SSL_CTX, FreeContext> context(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_load_verify_locations(context.get(), files.trust_store.c_str(), nullptr) != 1 ||
        (files.authorities && !LoadAuthorities(context.get(), *files.authorities))) {
        return nullptr;
    }
    SSL_CTX_set_verify(context.get(), files.authorities ? SSL_VERIFY_PEER : SSL_VERIFY_NONE,
                       nullptr);
    SSL_CTX_set_read_ahead(context.get(), 1);
    SSL_CTX_set_mode(context.get(), SSL_MODE_AUTO_RETRY);
    return context;
}

template <class Matches>
SharedContext* Find(Matches matches) {
    SharedContext* known = first;
    while (known != nullptr && !matches(*known)) known = known->next;
    return known;
}

SSL_CTX* Share(Files files, char* reason, size_t capacity) {
    if (SharedContext* known = Find([&](auto& each) { return each.files == files; })) {
        ++known->sessions;
        return known->context.get();
    }
    auto made = std::make_unique<SharedContext>();
    made->context = MakeContext(files);
    if (!made->context) {
        DescribeFailure(reason, capacity);
        return nullptr;
    }
    made->files = std::move(files);
    made->sessions = 1;
    made->next = first;
    first = made.release();
    return first->context.get();
}

/// What `share` returns, under the lock; null when it has no memory.
template <class Sharing>
SSL_CTX* Locked(char* reason, size_t capacity, Sharing share) {
    const std::lock_guard lock(mutex);
    try {
        return share();
    } catch (const std::bad_alloc&) {
        std::snprintf(reason, capacity, "out of memory");
        return nullptr;
    }
}

}  // namespace

SSL_CTX* ShareContext(const char* trust_store, char* reason, size_t capacity) {
    return Locked(reason, capacity, [&] { return Share({trust_store, {}}, reason, capacity); });
}

SSL_CTX* ShareContext(const SSL_CTX* like, const char* authorities, char* reason, size_t capacity) {
    return Locked(reason, capacity, [&] {
        const SharedContext* held = Find([&](auto& each) { return each.context.get() == like; });
        return held == nullptr ? nullptr
                               : Share({held->files.trust_store, authorities}, reason, capacity);
    });
}

void ReleaseContext(SSL_CTX* context) {
    const std::lock_guard lock(mutex);
    SharedContext** link = &first;
    while (*link != nullptr && (*link)->context.get() != context) link = &(*link)->next;
    if (*link == nullptr || --(*link)->sessions != 0) return;
    const std::unique_ptr<SharedContext> unused(*link);
    *link = unused->next;
}

}  // namespace zwmgmt::tls
