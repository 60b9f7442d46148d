#include "session/tls_context.h"

#include <openssl/err.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "platform/file.h"
#include "session/tls.h"

namespace zwmgmt::tls {
namespace {

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

struct SharedContext {
    ContextSettings settings;
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

void CloseKeyLog(void*, void* file, CRYPTO_EX_DATA*, int, long, void*) {
    if (file != nullptr) std::fclose(static_cast<FILE*>(file));
}

/// Where a context has its key log, which goes with it: connections outlive a session's share.
int KeyLogIndex() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, CloseKeyLog);
    return index;
}

/// A line at a time, so that processes can share the file.
void AppendKey(const SSL* session, const char* line) {
    auto* file = static_cast<FILE*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(session), KeyLogIndex()));
    std::fprintf(file, "%s\n", line);
    std::fflush(file);
}

bool LogKeys(SSL_CTX* context, const std::string& path) {
    FILE* file = platform::AppendPrivately(path.c_str());
    if (file == nullptr) {
        ERR_raise(ERR_LIB_SYS, errno);
        return false;
    }
    if (SSL_CTX_set_ex_data(context, KeyLogIndex(), file) != 1) {
        std::fclose(file);
        return false;
    }
    SSL_CTX_set_keylog_callback(context, AppendKey);
    return true;
}

/// A key that is locked is not asked for: there need not be anybody to ask.
int NoPassword(char*, int, int, void*) { return 0; }

bool LoadPair(SSL_CTX* context, const ContextSettings& settings) {
    SSL_CTX_set_default_passwd_cb(context, NoPassword);
    return SSL_CTX_use_certificate_chain_file(context, settings.certificate.c_str()) == 1 &&
           SSL_CTX_use_PrivateKey_file(context, settings.key.c_str(), SSL_FILETYPE_PEM) == 1;
}

std::unique_ptr<SSL_CTX, FreeContext> MakeContext(const ContextSettings& settings) {
    ERR_clear_error();
    std::unique_ptr<SSL_CTX, FreeContext> context(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), settings.least_version) != 1 ||
        (settings.trust_store && SSL_CTX_load_verify_locations(
                                     context.get(), settings.trust_store->c_str(), nullptr) != 1) ||
        (settings.authorities && !LoadAuthorities(context.get(), *settings.authorities)) ||
        (!settings.certificate.empty() && !LoadPair(context.get(), settings)) ||
        (!settings.key_log.empty() && !LogKeys(context.get(), settings.key_log))) {
        return nullptr;
    }
    SSL_CTX_set_verify(context.get(), settings.authorities ? SSL_VERIFY_PEER : SSL_VERIFY_NONE,
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

SSL_CTX* Share(ContextSettings settings, char* reason, size_t capacity) {
    if (SharedContext* known = Find([&](auto& each) { return each.settings == settings; })) {
        ++known->sessions;
        return known->context.get();
    }
    auto made = std::make_unique<SharedContext>();
    made->context = MakeContext(settings);
    if (!made->context) {
        DescribeFailure(reason, capacity);
        return nullptr;
    }
    made->settings = std::move(settings);
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
    return Locked(reason, capacity, [&] {
        ContextSettings settings;
        if (trust_store != nullptr) settings.trust_store = trust_store;
        return Share(std::move(settings), reason, capacity);
    });
}

SSL_CTX* ShareContext(const SSL_CTX* like, const std::function<void(ContextSettings&)>& change,
                      char* reason, size_t capacity) {
    return Locked(reason, capacity, [&]() -> SSL_CTX* {
        const SharedContext* held = Find([&](auto& each) { return each.context.get() == like; });
        if (held == nullptr) return nullptr;
        ContextSettings settings = held->settings;
        change(settings);
        return Share(std::move(settings), reason, capacity);
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
