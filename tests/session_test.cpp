/// The session against agents that behave, that refuse, and that do neither.
#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <new>

#include "session/state.h"
#include "session/tls.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

Bytes HeaderBytes(std::vector<std::pair<size_t, uint8_t>> set) {
    Bytes header(26, 0);
    for (const auto& [offset, value] : set) header[offset] = value;
    return header;
}

std::string TextAt(const Bytes& bytes, size_t offset, size_t width) {
    return std::string(reinterpret_cast<const char*>(bytes.data()) + offset, width).c_str();
}

}  // namespace

TEST(Session, SendsTheDocumentedBytes) {
    const std::string user(256, 'u'), password(64, 'p');  // as long as their fields
    std::mutex mutex;
    std::vector<Bytes> headers, bodies;
    const auto tap = [&](auto header, auto body) {
        const std::lock_guard lock(mutex);
        headers.emplace_back(header.begin(), header.end());
        bodies.emplace_back(body.begin(), body.end());
    };
    CannedHost host;
    host.os = kWindows;
    TestAgent agent(host, {.login = agent::OneUser{user, password}, .tap = tap});
    {
        TestSession session;
        ASSERT_EQ(session.SetPassword("too early"), kSuccess);
        ASSERT_EQ(session.Connect(agent.Port(), user.c_str()), kSuccess);
        EXPECT_TRUE(session.LoginRequired());
        ASSERT_EQ(session.SetPassword(password.c_str()), kSuccess);
        ASSERT_EQ(session.CLAuthenticateUser(session.result.data()), kSuccess);
        EXPECT_FALSE(session.LoginRequired());
        EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
        session.CLLogOut();
        EXPECT_FALSE(session.Connected());
    }
    agent.Stop();
    const std::vector<Bytes> expected = {
        HeaderBytes({{9, 0x44}, {10, 0x02}}),     // opening: 580 bytes
        HeaderBytes({{9, 0x44}, {10, 0x02}}),     // login
        HeaderBytes({{1, 1}, {4, 4}, {6, 142}}),  // request: OS, service, opcode
        HeaderBytes({{6, 1}}),                    // logout, once
    };
    EXPECT_EQ(headers, expected);
    ASSERT_EQ(bodies.at(0).size(), 580u);
    EXPECT_EQ(TextAt(bodies[0], 4, 256), user);
    EXPECT_EQ(TextAt(bodies[0], 260, 64), "") << "the opening never carries a password";
    EXPECT_NE(TextAt(bodies[0], 324, 256), "");
    EXPECT_EQ(TextAt(bodies[1], 260, 64), password);
    EXPECT_EQ(bodies[2].size() + bodies[3].size(), 0u);
}

TEST(Session, LearnsFromTheOpeningReply) {
    CannedHost host;
    host.os = kEsx;
    host.word_size = 4;
    Linked session(host);
    EXPECT_EQ(session.OsType(), kEsx);
    EXPECT_EQ(session.AgentWordSize(), 4u);
    EXPECT_TRUE(session.Connected());
    EXPECT_FALSE(session.LoginRequired());
    EXPECT_STREQ(session.ServerAddress(), "127.0.0.1");
    EXPECT_EQ(session.Port(), session.agent.Port());
    EXPECT_EQ(session.LastSuccessTime(), 0);
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
    EXPECT_GT(session.LastSuccessTime(), 0);
}

TEST(Session, LoginOutcomes) {
    const Table<const char*, uint32_t, uint32_t> rows = {
        {"secret", 225, kSuccess},
        {"wrong", 225, kLoginRejected},
        {"wrong", 5, kLoginFailed},
    };
    for (const auto& [password, rejection, status] : rows) {
        CannedHost host;
        Linked session(host, {.login = agent::OneUser{"operator", "secret", rejection}});
        session.SetPassword(password);
        EXPECT_EQ(session.CLAuthenticateUser(session.result.data()), status);
        EXPECT_EQ(session.LoginRequired(), status != kSuccess);
        // The password went out once and is gone.
        EXPECT_EQ(session.CLAuthenticateUser(session.result.data()), kInvalidValue);
        EXPECT_NE(session.Connect(1), kSuccess);
        EXPECT_EQ(session.LoginRequired() + session.OsType(), 0) << "of an agent that is not there";
    }
}

TEST(Session, SecretsAreWipedInPlace) {
    CannedHost host;
    TestAgent agent(host, {.login = agent::OneUser{"the-user-of-it", "the-secret-of-it"}});
    std::vector<char> result(kResultBufferSize);
    for (const bool disconnects : {true, false}) {
        alignas(ZwMgmt_interface) char memory[sizeof(ZwMgmt_interface)];
        const auto holds = [&](const char* text) {
            return std::search(std::begin(memory), std::end(memory), text,
                               text + std::strlen(text)) != std::end(memory);
        };
        auto* session = new (memory) ZwMgmt_interface;
        const auto connect = [&] {
            return session->CLConnectToServer("127.0.0.1", "the-user-of-it", agent.Port(),
                                              result.data());
        };
        ASSERT_EQ(connect(), kSuccess);
        session->SetPassword("the-secret-of-it");
        EXPECT_TRUE(holds("the-user") && holds("the-secret"));
        ASSERT_EQ(connect(), kSuccess);
        EXPECT_FALSE(holds("the-secret")) << "a new connection forgets it";
        session->SetPassword("the-secret-of-it");
        ASSERT_EQ(session->CLAuthenticateUser(result.data()), kSuccess);
        EXPECT_FALSE(holds("the-secret")) << "sent once";
        session->SetPassword("the-secret-of-it");
        if (disconnects) {
            session->CLDisconnectFromServer();
            EXPECT_FALSE(holds("the-user") || holds("the-secret"));
        }
        ZwMgmt_interface released(*session);
        session->~ZwMgmt_interface();
        EXPECT_FALSE(holds("the-user") || holds("the-secret"));
        released.CLDisconnectFromServer();
    }
}

TEST(Session, WaitsAsLongAsTheRequestMayTake) {
    const Table<int, uint8_t, uint16_t, uint32_t> rows = {
        {3, 4, 142, 180}, {3, 5, 145, 180}, {3, 9, 183, 180}, {2, 5, 145, 300}, {8, 5, 145, 300},
        {1, 5, 145, 300}, {5, 5, 145, 120}, {2, 5, 146, 120}, {2, 9, 183, 300}, {1, 9, 197, 300},
        {2, 4, 156, 900}, {1, 4, 156, 900}, {3, 4, 156, 180}, {1, 4, 139, 300}, {2, 4, 139, 120},
        {2, 4, 142, 120}, {4, 6, 156, 120},
    };
    for (const auto& [os_type, service, command, seconds] : rows) {
        TestSession& session = SessionOf(os_type);
        session.Client_ProcessRequest(service, command, 0, nullptr, 0, session.result.data(),
                                      nullptr);
        session.Printed();
        EXPECT_EQ(SessionState::Of(session).exchange.ReceiveTimeoutSeconds(), seconds)
            << os_type << ' ' << +service << ' ' << command;
    }
}

TEST(Session, NeedsTheReadWriteToken) {
    CannedHost host;
    TestAgent agent(host, {.grant_token = false});
    TestSession session;
    EXPECT_EQ(session.Connect(agent.Port()), kNoReadWriteToken);
    EXPECT_FALSE(session.Connected());
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), kNotConnected);
    EXPECT_EQ(session.Printed(), "ERROR: no connection to the managed system!\n");
    EXPECT_EQ(session.Run({"filter", "showcomb"}), 0);
    EXPECT_EQ(session.LastStatus(), kSuccess) << "a command that needs no agent";
}

TEST(Session, OffersTls12WithTheDocumentedCiphersAlone) {
    const Table<const char*, uint32_t> rows = {
        {"AES256-SHA:ECDHE-RSA-AES256-GCM-SHA384", kSuccess},
        {"ECDHE-RSA-AES256-GCM-SHA384:AES128-SHA", kHandshakeFailed},
    };
    for (const auto& [agents_ciphers, status] : rows) {
        std::string negotiated;
        RawAgent agent(
            [&](SSL* ssl) {
                negotiated = SSL_get_cipher_name(ssl);
                AcceptOpening(ssl);
                AwaitEnd(ssl);
            },
            [&](SSL_CTX* context) {
                SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
                SSL_CTX_set_cipher_list(context, agents_ciphers);
            });
        TestSession session;
        EXPECT_EQ(session.Connect(agent.Port()), status) << agents_ciphers;
        EXPECT_EQ(negotiated, status == kSuccess ? "AES256-SHA" : "");
    }
}

TEST(Session, ArgumentsThatCannotOpenASession) {
    TestSession session;
    char* result = session.result.data();
    const std::string long_user(257, 'u');
    EXPECT_EQ(session.CLConnectToServer(nullptr, "u", 1, result), kMissingArgument);
    EXPECT_EQ(session.CLConnectToServer("h", nullptr, 1, result), kMissingArgument);
    EXPECT_EQ(session.CLConnectToServer("h", "u", 1, nullptr), kMissingArgument);
    EXPECT_EQ(session.Connect(1, long_user.c_str()), kInvalidValue);
    EXPECT_EQ(session.SetPassword(""), kInvalidValue);
    EXPECT_EQ(session.SetPassword(std::string(65, 'p').c_str()), kInvalidValue);
    EXPECT_EQ(session.SetPassword(std::string(64, 'p').c_str()), kSuccess);
}

TEST(Session, ConnectFailuresHaveStatusesOfTheirOwn) {
    TestSession session;
    for (const char* host : {"no-such-host.invalid", ""}) {
        EXPECT_EQ(session.CLConnectToServer(host, "u", 0, session.result.data()), kHostNotResolved);
    }
    EXPECT_EQ(session.Port(), 35001) << "port 0 means the default";
    uint16_t closed_port = 0;
    platform::CloseSocket(platform::Listen(platform::kIpv4Loopback, &closed_port));
    EXPECT_EQ(session.Connect(closed_port), kConnectFailed);
    const Table<std::string, const char*> rows = {
        {"HTTP/1.1 400 Bad Request\r\n\r\n", "the other side does not speak TLS"},
        {"", "the other side closed the connection"},
    };
    for (const auto& [said, detail] : rows) {
        const std::function<void(platform::SocketHandle)> talk = [&](auto socket) {
            char hello[4096];
            platform::WaitFor(socket, platform::Direction::kRead, platform::Milliseconds(60'000));
            platform::Receive(socket, hello, sizeof(hello));
            if (!said.empty()) platform::Send(socket, said.data(), static_cast<int>(said.size()));
        };
        RawAgent agent{talk};
        EXPECT_EQ(session.Connect(agent.Port()), kHandshakeFailed);
        EXPECT_STREQ(session.FailureDetail(), detail);
    }
}

TEST(Session, ConnectingAgainReleasesTheEarlierConnection) {
    std::atomic<int> released = 0;
    RawAgent agent([&](SSL* ssl) {
        AcceptOpening(ssl);
        ReadFrom(ssl, kHeaderSize);
        SSL_shutdown(ssl);
        AwaitEnd(ssl);
        ++released;
    });
    TestSession session;
    for (int attempt = 0; attempt < 5; ++attempt) {
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        EXPECT_NE(session.Run({"korvane", "listadapterprops"}), 0);
        EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), kNotConnected);
        EXPECT_EQ(session.LastStatus(), kNotConnected);
        _Message message = {};
        EXPECT_EQ(session.Client_TalkToServer(&message, session.result.data(), 0, 0, 0, 8, nullptr),
                  kNotConnected)
            << "a late reply is nobody's";
    }
    EXPECT_GE(released, 4) << "the agent serves the next when the one before has gone";
}

TEST(Session, WithoutContextConnectingFails) {
    testing::internal::CaptureStdout();
    ZwMgmt_interface nameless("");
    nameless.CLDisconnectFromServer();
    ZwMgmt_interface session("/no/such/file.pem");
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error: cannot load certificate file!\nError: cannot load certificate file!\n");
    CannedHost host;
    TestAgent agent(host);
    std::vector<char> result(kResultBufferSize);
    EXPECT_EQ(session.CLConnectToServer("127.0.0.1", "u", agent.Port(), result.data()),
              kNoTlsSession);
    session.CLDisconnectFromServer();
    session.CLDisconnectFromServer();
}

TEST(Session, SessionsShareTheContextOfTheirTrustStore) {
    CannedHost host;
    TestAgent agent(host);
    TestSession first, second;
    EXPECT_EQ(SessionState::Of(first).tls_context, SessionState::Of(second).tls_context);
    first.CLDisconnectFromServer();
    EXPECT_EQ(second.Connect(agent.Port()), kSuccess) << "the other's end is not this one's";
}

TEST(Session, HandshakeGivesUpAfterThirtyOneHalfSeconds) {
    const auto stays_silent = [](platform::SocketHandle socket) {
        char hello[4096];
        while (platform::WaitFor(socket, platform::Direction::kRead,
                                 platform::Milliseconds(60'000)) == platform::WaitResult::kReady &&
               platform::Receive(socket, hello, sizeof(hello)) > 0) {
        }
    };
    RawAgent agent{std::function<void(platform::SocketHandle)>(stays_silent)};
    TestSession session;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(session.Connect(agent.Port()), kHandshakeTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(15'500));
}

TEST(Session, ARefusedOpeningIsNotASession) {
    RawAgent agent([](SSL* ssl) {
        ReadFrom(ssl, kHeaderSize + sizeof(LoginRecord));
        Bytes refusal = Reply(99);
        refusal[offsetof(_Message, rw_token)] = 1;
        WriteTo(ssl, refusal);
        AwaitEnd(ssl);
    });
    TestSession session;
    EXPECT_EQ(session.Connect(agent.Port()), 99u);
    EXPECT_FALSE(session.Connected());
}

TEST(Session, TheReceiveTimeoutHoldsWhateverTlsIsBusyWith) {
    const std::function<void(SSL*)> stalls[] = {
        [](SSL* ssl) {  // the first bytes of an application data record that never ends
            const uint8_t begun[] = {23, 3, 3, 0x40, 0, 1, 2, 3};
            BIO_write(SSL_get_wbio(ssl), begun, sizeof(begun));
            AwaitEnd(ssl);
        },
        [](SSL* ssl) {  // nothing but housekeeping, without end
            while (SSL_key_update(ssl, SSL_KEY_UPDATE_NOT_REQUESTED) == 1 &&
                   tls::Handshake(ssl, platform::Milliseconds(2000)) == tls::Outcome::kDone) {
            }
        },
    };
    for (const auto& stall : stalls) {
        RawAgent agent([&](SSL* ssl) {
            AcceptOpening(ssl);
            ReadFrom(ssl, kHeaderSize);
            stall(ssl);
        });
        TestSession session(agent.Port());
        session.SetReceiveTimeout(1);
        EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), kReceiveTimeout);
        EXPECT_EQ(session.Printed(), "Socket timed out\n");
        EXPECT_FALSE(session.Connected());
    }
}

TEST(Session, TheStopThatWasSetLastCounts) {
    std::promise<void> is_over;
    CannedHost host([over = is_over.get_future().share()](auto...) {
        over.wait_for(std::chrono::seconds(5));  // or the test fails
        return agent::Reply{};
    });
    Linked waiting(host);
    Stop stop;
    waiting.SetStop(&stop);
    stop.Now();
    EXPECT_EQ(waiting.VerifyByAuthority("/no/such/file"), kNoTlsSession);
    waiting.Run({"system", "loaddriver", "drvname=x"});
    EXPECT_EQ(waiting.LastStatus(), kReceiveTimeout);
    EXPECT_STREQ(waiting.FailureDetail(), "") << "of another failure";
    is_over.set_value();

    auto gone = std::make_unique<Stop>();
    TestSession session;
    session.SetStop(gone.get());
    ASSERT_EQ(session.Connect(waiting.agent.Port()), kSuccess);
    session.SetStop(nullptr);
    gone->Now();
    gone.reset();
    session.Run({"system", "loaddriver", "drvname=x"});
    EXPECT_EQ(session.LastStatus(), kSuccess);
}

TEST(Session, AReplyLargerThanTheResultBufferGoesWholeToOut) {
    const uint32_t length = kResultBufferSize + 1000;
    CannedHost host(agent::Reply{.status = 0, .data = Bytes(length, 0x5A)});
    Linked session(
        host, {.tap = [](auto header, auto) { EXPECT_EQ(header[14], 0) << "no status is sent"; }});
    session.result.resize(kResultBufferSize + 8, 'x');
    _Message message = {};
    message.service = kSystem;
    void* block = nullptr;
    ASSERT_EQ(session.Client_TalkToServer(&message, session.result.data(), 0, 0, 0, 8, &block),
              kSuccess);
    EXPECT_EQ(static_cast<uint8_t*>(block)[length - 1], 0x5A);
    EXPECT_EQ(session.result[kResultBufferSize - 1], 0x5A);
    EXPECT_EQ(session.result[kResultBufferSize], 'x');
    std::free(block);

    const auto status_with = [&](uint32_t limit) {
        session.SetReplyLimit(limit);
        message = {};
        message.service = kSystem;
        message.status = 77;
        return session.Client_TalkToServer(&message, session.result.data(), 0, 0, 0, 8, nullptr);
    };
    EXPECT_EQ(status_with(length), kSuccess);
    EXPECT_EQ(status_with(length - 1), kReadError);
}

TEST(Session, AFailedReplyHasNoDataWhateverItsLength) {
    RawAgent agent([](SSL* ssl) {
        AcceptOpening(ssl);
        ReadFrom(ssl, kHeaderSize);
        WriteTo(ssl, Reply(77, 50));
        ReadFrom(ssl, kHeaderSize);
        WriteTo(ssl, Reply(kSuccess));
        AwaitEnd(ssl);
    });
    TestSession session(agent.Port());
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
    EXPECT_EQ(+session.message.status, 77u);
    EXPECT_EQ(+session.LastReplyHeader().data_length, 50u);
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0) << "the exchange is complete";
    EXPECT_EQ(session.result, std::vector<char>(kResultBufferSize, 0));
}

TEST(Session, WhatDoesNotArriveReadsAsEndMarks) {
    RawAgent agent([](SSL* ssl) { WriteTo(ssl, {1, 2}); });
    TestSession session;
    Connection connection;
    char address[16];
    FailureDetail detail;
    ASSERT_EQ(connection.Open(SessionState::Of(session).tls_context, "127.0.0.1", agent.Port(), {},
                              address, &detail),
              kSuccess);
    Bytes bytes(5, 7);
    EXPECT_EQ(connection.Receive(bytes.data(), 4, std::chrono::minutes(1)).bytes, 2u);
    EXPECT_EQ(bytes, Bytes({1, 2, 0xFF, 0xFF, 7}));
}

TEST(Session, APeerThatGoesWhileWeWriteIsAStatus) {
    RawAgent agent([](SSL* ssl) { AcceptOpening(ssl); });
    TestSession session(agent.Port());
    constexpr uint32_t kLength = 64u << 20;  // more than any socket buffer takes in
    _Message message = {};
    message.data = std::calloc(1, kLength);
    message.data_length = kLength;
    EXPECT_EQ(session.Client_TalkToServer(&message, session.result.data(), 0, 0, 0, 8, nullptr),
              kWriteError);
    EXPECT_TRUE(message.data == nullptr) << "the request's data is freed in any case";
}

TEST(Session, FetchesAndKeepsTheCapabilities) {
    const Capabilities none = {}, offered = BuiltinScenario("freebsd").capabilities;
    SimulatedAgent agent("freebsd");
    TestSession session;
    EXPECT_EQ(session.FetchCapabilities(session.result.data()), kNotConnected);
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    EXPECT_EQ(std::memcmp(&session.AgentCapabilities(), &none, 33), 0);
    EXPECT_EQ(session.FetchCapabilities(session.result.data()), kSuccess);
    EXPECT_EQ(std::memcmp(&session.AgentCapabilities(), &offered, 33), 0);

    CannedHost cut(agent::Reply{.status = 0, .data = Bytes(32)});
    Linked other(cut);
    EXPECT_EQ(other.FetchCapabilities(other.result.data()), kReadError);
    EXPECT_TRUE(other.Connected()) << "a record that is too short leaves the stream in step";
}
