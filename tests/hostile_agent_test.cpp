/// Agents that speak when they were not asked, in old versions of TLS, or not to the end.
#include <openssl/ssl.h>

#include <future>

#include "session/tls.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

constexpr size_t kOpeningSize = kHeaderSize + sizeof(LoginRecord);
constexpr size_t kChunkMessage = kHeaderSize + sizeof(FileTransferRecord);
constexpr platform::Milliseconds kStep{5'000};

/// An agent that accepts the opening, then talks; the session goes on once `Spoken` says so.
struct Talker {
    explicit Talker(std::function<void(SSL*, std::promise<void>&)> talk)
        : agent([this, talk](SSL* ssl) {
              AcceptOpening(ssl);
              talk(ssl, spoken);
              AwaitEnd(ssl);
          }) {}
    void AwaitSpoken() { spoken.get_future().wait(); }

    std::promise<void> spoken;
    RawAgent agent;
};

}  // namespace

TEST(HostileAgent, WhatNobodyAskedForIsNoAnswer) {
    const std::function<void(SSL*, std::promise<void>&)> talks[] = {
        [](SSL* ssl, auto& spoken) {  // the reply comes before the request
            WriteTo(ssl, Reply(kSuccess));
            spoken.set_value();
        },
        [](SSL* ssl, auto& spoken) {  // a refused change, and a better answer in its data
            ReadFrom(ssl, kHeaderSize);
            WriteTo(ssl, Reply(kInvalidValue, kHeaderSize));
            WriteTo(ssl, Reply(kSuccess));
            spoken.set_value();
        },
    };
    for (const auto& talk : talks) {
        const bool first_is_answered = &talk != talks;
        Talker talker(talk);
        TestSession session(talker.agent.Port());
        if (first_is_answered) {
            EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
            EXPECT_EQ(session.LastStatus(), kInvalidValue);
        }
        talker.AwaitSpoken();
        session.Printed();
        EXPECT_EQ(session.Run({"korvane", "setcardproperty", "pci=1", "mss=1"}), kNotConnected);
        EXPECT_EQ(session.Printed(), "ERROR: no connection to the managed system!\n");
        EXPECT_STREQ(session.FailureDetail(), "the agent sent data that it was not asked for");
        EXPECT_FALSE(session.Connected());
    }
}

TEST(HostileAgent, APasswordIsNotSentAfterAnAnswerThatCameTooEarly) {
    size_t received = 0;
    std::promise<void> spoken;
    RawAgent agent([&](SSL* ssl) {
        ReadFrom(ssl, kOpeningSize);
        _Message asks_for_login = {};
        asks_for_login.rw_token = 1;
        asks_for_login.opcode = 1;
        WriteTo(ssl, Message(asks_for_login));
        WriteTo(ssl, Reply(kSuccess));
        spoken.set_value();
        received = ReadFrom(ssl, kOpeningSize).size();
    });
    TestSession session(agent.Port());
    spoken.get_future().wait();
    ASSERT_EQ(session.SetPassword("secret"), kSuccess);
    EXPECT_EQ(session.CLAuthenticateUser(session.result.data()), kNotConnected);
    EXPECT_TRUE(session.LoginRequired());
    EXPECT_EQ(session.CLAuthenticateUser(session.result.data()), kInvalidValue) << "it is wiped";
    session.CLDisconnectFromServer();
    EXPECT_EQ(received, 0u);
}

TEST(HostileAgent, OneAcknowledgementIsForOnePieceOfAFile) {
    const TemporaryFile file(std::string(2 * kChunkSize, 'x'));
    for (int early = 0; early < 3; ++early) {  // the announcement, a chunk, the last chunk
        size_t received = 0;
        RawAgent agent([&](SSL* ssl) {
            AcceptOpening(ssl);
            for (int piece = 0; piece <= early; ++piece) {
                received += ReadFrom(ssl, kChunkMessage).size();
                Bytes answer = Reply(kSuccess);
                if (piece == early) answer.resize(2 * kHeaderSize);  // and another success
                WriteTo(ssl, answer);
            }
            received += ReadFrom(ssl, kChunkMessage).size();
        });
        TestSession session(agent.Port());
        EXPECT_EQ(session.SendFile({.path = file.Path().c_str()}, session.result.data()), 1);
        EXPECT_EQ(session.LastStatus(), kNotConnected);
        EXPECT_FALSE(session.Connected());
        session.CLDisconnectFromServer();
        EXPECT_EQ(received, (static_cast<size_t>(early) + 1) * kChunkMessage);
    }
}

TEST(HostileAgent, TlsHousekeepingIsNoData) {
    Talker talker([](SSL* ssl, auto& spoken) {
        for (int times = 0; times < 3; ++times) {
            SSL_new_session_ticket(ssl);
            SSL_key_update(ssl, SSL_KEY_UPDATE_REQUESTED);
            tls::Handshake(ssl, kStep);
        }
        spoken.set_value();
        ReadFrom(ssl, kHeaderSize);
        WriteTo(ssl, Reply(77));
    });
    TestSession session(talker.agent.Port());
    talker.AwaitSpoken();
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
    EXPECT_EQ(session.LastStatus(), 77u);
}

TEST(HostileAgent, VersionsOfTlsBefore12GetNothing) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
        bool talked = false;
        RawAgent agent([&](SSL*) { talked = true; },
                       [&](SSL_CTX* context) {
                           SSL_CTX_set_min_proto_version(context, version);
                           SSL_CTX_set_max_proto_version(context, version);
                           SSL_CTX_set_cipher_list(context, "AES256-SHA:@SECLEVEL=0");
                       });
        TestSession session;
        EXPECT_EQ(session.Connect(agent.Port()), kHandshakeFailed);
        EXPECT_STREQ(session.FailureDetail(),
                     "the other side offers only TLS versions older than the least allowed");
        EXPECT_FALSE(talked);
    }
}

TEST(HostileAgent, ARenegotiationThatIsNotFinishedSpoilsNoLogout) {
    RawAgent agent(
        [](SSL* ssl) {
            AcceptOpening(ssl);
            ReadFrom(ssl, kHeaderSize);
            WriteTo(ssl, Reply(kSuccess, 1));
            SSL_renegotiate(ssl);
            tls::Handshake(ssl, kStep);  // asks for it
            WriteTo(ssl, {0xFF});
            char ignored[4096];
            while (BIO_read(SSL_get_rbio(ssl), ignored, sizeof(ignored)) > 0 ||
                   BIO_should_retry(SSL_get_rbio(ssl))) {
            }
        },
        [](SSL_CTX* context) { SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION); });
    TestSession session(agent.Port());
    session.SetBuildListMode();
    void* cards = nullptr;
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}, &cards), 0);
    session.CLFreeMem(kListAdapterProps, cards);
    session.CLLogOut();
    EXPECT_EQ(session.Printed(), "");
}
