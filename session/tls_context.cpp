#include "session/tls_context.h"

#include <openssl/err.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "session/tls.h"

namespace zwmgmt::tls {
namespace {

struct FreeContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};

struct SharedContext {
    std::string trust_store;
    std::unique_ptr<SSL_CTX, FreeContext> context;
    size_t sessions = 0;
    SharedContext* next = nullptr;
};

// A plain pointer: sessions may end while the process does, when what has a destructor is gone.
std::mutex mutex;
SharedContext* first = nullptr;

std::unique_ptr<SSL_CTX, FreeContext> MakeContext(const char* trust_store, char* reason,
                                                  size_t capacity) {
    ERR_clear_error();
    std::unique_ptr<SSL_CTX, FreeContext> context(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_load_verify_locations(context.get(), trust_store, nullptr) != 1) {
        DescribeFailure(reason, capacity);
        return nullptr;
    }
    // The agent's certificate is not checked; the file is loaded as trust store all the same.
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
    SSL_CTX_set_read_ahead(context.get(), 1);
    SSL_CTX_set_mode(context.get(), SSL_MODE_AUTO_RETRY);
    return context;
}

}  // namespace

SSL_CTX* ShareContext(const char* trust_store, char* reason, size_t capacity) {
    const std::lock_guard lock(mutex);
    for (SharedContext* known = first; known != nullptr; known = known->next) {
        if (known->trust_store != trust_store) continue;
        ++known->sessions;
        return known->context.get();
    }
    auto context = MakeContext(trust_store, reason, capacity);
    if (!context) return nullptr;
    try {
        auto made = std::make_unique<SharedContext>();
        made->trust_store = trust_store;
        made->context = std::move(context);
        made->sessions = 1;
        made->next = first;
        first = made.release();
        return first->context.get();
    } catch (const std::bad_alloc&) {
        std::snprintf(reason, capacity, "out of memory");
        return nullptr;
    }
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
