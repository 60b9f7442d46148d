/// Every allocation of a session refused in turn: malloc's family, operator new and OpenSSL's own.
/// Under the address sanitizer this also finds what is lost on the way out.
#include <openssl/crypto.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

#include "platform/host.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

/// The thread that is refused memory, or 0. No thread_local: where the compiler makes those itself,
/// they allocate.
std::atomic<uintptr_t> refused_thread = 0;
long until_refusal = 0;  // that thread's allocations until then
bool refused = false;

bool Refuse() {
    if (refused_thread == 0 || refused_thread != OwnThreadId()) return false;
    if (until_refusal-- > 0) return false;
    refused = true;
    refused_thread = 0;
    return true;
}

/// Refuses the n-th allocation of this thread from now on (from 0), until it goes.
class RefuseOne {
  public:
    explicit RefuseOne(long n) {
        refused = false;
        until_refusal = n;
        refused_thread = OwnThreadId();
    }
    ~RefuseOne() { refused_thread = 0; }
};

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void* __wrap_malloc(size_t size) { return Refuse() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(size_t count, size_t size) {
    return Refuse() ? nullptr : __real_calloc(count, size);
}
void* __wrap_realloc(void* block, size_t size) {
    return Refuse() ? nullptr : __real_realloc(block, size);
}
}

void* operator new(size_t size) {
    void* block = __wrap_malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new(size_t size, const std::nothrow_t&) noexcept { return __wrap_malloc(size); }
// Not inlined: GCC would see the free alone, and take it for a mistake.
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, size_t) noexcept { std::free(block); }

namespace {

/// What OpenSSL holds.
std::atomic<long> openssl_blocks = 0;

void* Counted(void* block, bool was_there = false) {
    openssl_blocks += block != nullptr && !was_there;
    return block;
}

const bool openssl_uses_the_allocator =
    CRYPTO_set_mem_functions(
        [](size_t size, const char*, int) { return Counted(__wrap_malloc(size)); },
        [](void* block, size_t size, const char*, int) {
            return Counted(__wrap_realloc(block, size), block != nullptr);
        },
        [](void* block, const char*, int) {
            openssl_blocks -= block != nullptr;
            std::free(block);
        }) == 1;

/// Runs the step with its n-th allocation refused, for every n it has; how many that were.
long RefuseEach(const std::function<void()>& prepare, const std::function<void()>& step,
                const std::function<void()>& check) {
    for (long n = 0;; ++n) {
        prepare();
        {
            const RefuseOne refusal(n);
            step();
        }
        if (!refused) return n;
        check();
    }
}

/// A session whose every step is kept apart, so that each can be refused memory alone.
class RefusedMemory : public testing::Test {
  protected:
    // What OpenSSL sets up once a process is set up here: it does not recover from a failure there.
    RefusedMemory() {
        EXPECT_TRUE(openssl_uses_the_allocator);
        Connect();
    }
    void Connect() {
        session.emplace();
        ASSERT_EQ(session->Connect(agent.Port()), kSuccess);
    }

    SimulatedAgent agent{"linux"};
    std::optional<TestSession> session;
    uint32_t status = 0;
};

}  // namespace

TEST_F(RefusedMemory, WhileConnecting) {
    std::vector<char> result(kResultBufferSize);
    // By a name of its own, or the fixture's session would share its TLS context.
    char path[4096];
    ASSERT_TRUE(platform::CertificatePath(path, sizeof(path)));
    std::string trust_store = path;
    trust_store.insert(trust_store.find_last_of("/\\"), "/.");
    ZwMgmt_interface* client = nullptr;
    alignas(ZwMgmt_interface) char place[sizeof(ZwMgmt_interface)];
    long succeeded = 0;  // OpenSSL does without some of its memory
    const uint32_t documented[] = {kSuccess,        kReadError,       kWriteError, kNoTlsSession,
                                   kCiphersRefused, kHandshakeFailed, kOutOfMemory};
    testing::internal::CaptureStdout();  // of contexts that cannot be made
    const long count = RefuseEach(
        [] {},
        [&] {
            client = new (place) ZwMgmt_interface(trust_store.c_str());
            status =
                client->CLConnectToServer("127.0.0.1", "operator", agent.Port(), result.data());
            client->CLDisconnectFromServer();
            client->~ZwMgmt_interface();
        },
        [&] {
            succeeded += status == kSuccess;
            EXPECT_NE(std::ranges::find(documented, status), std::end(documented)) << status;
        });
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(status, kSuccess) << "with nothing refused";
    EXPECT_GT(count, 100);
    EXPECT_LT(succeeded, count) << "no refusal was noticed";
}

TEST_F(RefusedMemory, InARoundTripWithABlockAndWithAList) {
    for (uint32_t record_size : {0u, 548u}) {
        _Message message = {};
        void* out = nullptr;
        const long count = RefuseEach(
            [&] {
                Connect();
                message = {};
                message.service = kKorvane;
                message.opcode = kListAdapterProps;
                out = nullptr;
            },
            [&] {
                status = session->Client_TalkToServer(&message, session->result.data(), record_size,
                                                      556, 1, 8, &out);
            },
            [&] {
                EXPECT_NE(status, kSuccess);
                EXPECT_EQ(out, nullptr);
            });
        EXPECT_EQ(status, kSuccess);
        EXPECT_GE(count, record_size == 0 ? 1 : 4) << "the block, and three nodes";
        ZwMgmt_interface::CLFreeMem(record_size == 0 ? 0 : kListAdapterProps, out);
    }
}

TEST_F(RefusedMemory, WhilePushingAFile) {
    const TemporaryFile file(std::string(40'000, 'x'));
    const FileTransfer transfer = {.path = file.Path().c_str(), .extra = nullptr};
    const long count = RefuseEach(
        [&] { Connect(); },
        [&] {
            status = static_cast<uint32_t>(session->SendFile(transfer, session->result.data()));
            // A transfer that broke off while data was written counts as
            // finished, but says so.
            if (status == kSuccess) status = session->LastStatus();
        },
        [&] {
            // OpenSSL does without some of its memory: then the file has
            // to be there.
            const auto report = agent.host.Answer(kSystem, kGetInstallResult, {});
            EXPECT_TRUE(status != kSuccess || report.status == kSuccess);
        });
    EXPECT_EQ(status, kSuccess);
    EXPECT_GE(count, 2) << "one record for the announcement, one for the chunks";
}

TEST_F(RefusedMemory, WhileReadingWords) {
    const char* words[] = {"korvane", "listports", "a key that needs some memory=1"};
    std::string error;
    int unnoticed = 0;  // sorting does without the memory that it would like to have
    const long count = RefuseEach([] {},
                                  [&] {
                                      CommandWords command(words, 3);
                                      refused_thread = 0;
                                      EXPECT_EQ(command.Request(), nullptr);
                                      error = command.Error();
                                  },
                                  [&] { unnoticed += error != "out of memory"; });
    EXPECT_TRUE(error.starts_with("unknown key"));
    EXPECT_GT(count, 5);
    EXPECT_LE(unnoticed, 2);
}

// Not for the address sanitizer alone: elsewhere OpenSSL has to be told that a thread ends.
TEST_F(RefusedMemory, OfAThreadThatEndsNothingIsLeft) {
    const auto talk_in_threads = [](int threads) {
        SimulatedAgent own_agent("linux");
        for (int i = 0; i < threads; ++i) {
            std::thread([&] { TestSession other(own_agent.Port()); }).join();
        }
        own_agent.Stop();
        return openssl_blocks.load();
    };
    EXPECT_EQ(talk_in_threads(8), talk_in_threads(2));
}
