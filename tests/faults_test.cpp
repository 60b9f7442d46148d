/// Sessions against an agent that breaks off, stalls, dribbles and lies: at every byte of a whole
/// exchange the documented status, promptly.
#include <atomic>
#include <cstring>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

/// What the three steps of an exchange came to: opening, login, listing. A step that was not
/// reached is kNotReached.
constexpr uint32_t kNotReached = 0xFFFF;
using Steps = std::array<uint32_t, 3>;
const Steps kWhole = {0, 0, 0};

// Bytes of the agent's messages, and of the client's, up to the end of each step.
constexpr size_t kListData = sizeof(_CardInformation) - sizeof(void*) + 1;
constexpr size_t kAgentEnds[] = {26, 52, 78 + kListData};
constexpr size_t kClientEnds[] = {607, 1213, 1239};  // one more: its reply is still to come

/// An agent that asks for a login, lists one card, and does in each session what it is told.
class FaultyAgent {
  public:
    explicit FaultyAgent(int tls_version = 0)
        : host(Listing()), agent(host, Options(tls_version)) {}

    Steps Exchange(const zmsim::WireFaults& next_faults, uint32_t timeout_seconds = 30) {
        TestSession session;
        Steps steps = LogIn(next_faults, timeout_seconds, &session);
        if (steps[1] != kSuccess) return steps;
        steps[2] = static_cast<uint32_t>(session.Run({"korvane", "listadapterprops"}));
        printed = session.Printed();
        again = session.Run({"korvane", "listadapterprops"});
        return steps;
    }

    /// A file of two chunks pushed; whether it went through without a fault being noticed.
    bool Push(const zmsim::WireFaults& next_faults, const char* path) {
        TestSession session;
        if (LogIn(next_faults, 30, &session)[1] != kSuccess) return false;
        const int result = session.SendFile({.path = path}, session.result.data());
        return result == 0 && session.LastStatus() == kSuccess;
    }

    std::string printed;
    int again = 0;  // the result of the same request once more

  private:
    /// The first two steps.
    Steps LogIn(const zmsim::WireFaults& next_faults, uint32_t timeout, TestSession* session) {
        faults = next_faults;
        session->SetReceiveTimeout(timeout);
        Steps steps = {session->Connect(agent.Port()), kNotReached, kNotReached};
        if (steps[0] != kSuccess) return steps;
        session->SetPassword("secret");
        steps[1] = session->CLAuthenticateUser(session->result.data());
        return steps;
    }
    static agent::Reply Listing() {
        Bytes data(kListData, 0);
        data.back() = 0xFF;
        return {.status = 0, .data = data};
    }
    agent::Options Options(int tls_version) {
        const auto wrap = [this](auto wire) {
            return std::make_unique<zmsim::FaultyWire>(std::move(wire), faults);
        };
        return {.tls_version = tls_version,
                .login = agent::OneUser{"operator", "secret"},
                .wrap = wrap};
    }

    zmsim::WireFaults faults;
    CannedHost host;
    TestAgent agent;
};

/// The steps when the exchange breaks at a byte: those before it succeed.
Steps BrokenAt(size_t byte, const size_t (&ends)[3], const Steps& statuses) {
    Steps steps = {kNotReached, kNotReached, kNotReached};
    for (size_t i = 0; i < 3; ++i) {
        steps[i] = byte < ends[i] ? statuses[i] : uint32_t{kSuccess};
        if (byte < ends[i]) break;
    }
    return steps;
}

/// Runs body(agent, n) for every n below end, on agents in threads of their own.
void Sweep(size_t threads, size_t end, const std::function<void(FaultyAgent&, size_t)>& body) {
    std::vector<std::thread> running;
    for (size_t first = 0; first < threads; ++first) {
        running.emplace_back([=, &body] {
            FaultyAgent agent;
            for (size_t n = first; n < end; n += threads) body(agent, n);
        });
    }
    for (std::thread& thread : running) thread.join();
}

}  // namespace

TEST(Faults, CutAfterEveryByteOfTheAgentsMessages) {
    for (bool goodbye : {false, true}) {
        Sweep(2, kAgentEnds[2] + 1, [&](FaultyAgent& agent, size_t n) {
            EXPECT_EQ(agent.Exchange({.cut_after = n, .goodbye = goodbye}),
                      BrokenAt(n, kAgentEnds, {kReadError, kReadError, kReadError}))
                << n;
        });
    }
}

TEST(Faults, CutAfterEveryByteOfTheClientsMessages) {
    Sweep(2, kClientEnds[2], [&](FaultyAgent& agent, size_t n) {
        Steps steps = agent.Exchange({.cut_after_reading = n});
        // Whether the loss shows while writing or while reading is a matter of timing.
        for (uint32_t& step : steps) step = step == kWriteError ? uint32_t{kReadError} : step;
        EXPECT_EQ(steps, BrokenAt(n, kClientEnds, {kReadError, kReadError, kReadError})) << n;
    });
}

TEST(Faults, StallAfterEveryByteOfTheAgentsMessages) {
    // Mostly waiting, so many at once; the timeout leaves room for a machine that is busy with
    // them.
    Sweep(40, kAgentEnds[2], [&](FaultyAgent& agent, size_t n) {
        EXPECT_EQ(agent.Exchange({.stall_after = n}, 3),
                  BrokenAt(n, kAgentEnds, {kReceiveTimeout, kReadError, kReceiveTimeout}))
            << n;
    });
}

TEST(Faults, AFilePushThatIsCutIsNeverASuccess) {
    const TemporaryFile file(std::string(20'000, 'x'));
    const size_t replies = 5 * 26;  // opening, login, announcement, two chunks
    Sweep(2, replies + 1, [&](FaultyAgent& agent, size_t n) {
        EXPECT_EQ(agent.Push({.cut_after = n}, file.Path().c_str()), n >= replies) << n;
    });
    constexpr size_t kStep = 53;
    const size_t requests = 2 * 606 + 3 * (26 + sizeof(FileTransferRecord));
    Sweep(2, requests / kStep, [&](FaultyAgent& agent, size_t n) {
        EXPECT_FALSE(agent.Push({.cut_after_reading = n * kStep}, file.Path().c_str())) << n;
    });
}

TEST(Faults, AnyFramingAndHousekeepingIsTaken) {
    for (int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        FaultyAgent agent(version);
        for (size_t record_size : {1u, 7u, 26u, 100u}) {
            EXPECT_EQ(agent.Exchange({.record_size = record_size}), kWhole);
            EXPECT_TRUE(agent.printed.starts_with("Adapter #"));
        }
        EXPECT_EQ(agent.Exchange({.split_replies = true}), kWhole) << version;
        EXPECT_EQ(agent.Exchange({.housekeeping = true}), kWhole) << version;
    }
}

TEST(Faults, LiesAboutTheLengthOfAReply) {
    const Table<uint32_t, uint32_t, bool> rows = {
        // announced, result, something listed
        {0, kSuccess, false},
        {1, kSuccess, true},
        {kListData - 1, kSuccess, true},
        {kListData + 1, kReceiveTimeout, false},
        {0x80000000, kReadError, false},
        {0xFFFFFFFF, kReadError, false},
        {64u << 20, kReceiveTimeout, false},
    };
    FaultyAgent agent;
    for (const auto& [announced, result, listed] : rows) {
        const Steps steps = agent.Exchange({.announced_length = announced}, 3);
        EXPECT_EQ(steps[2], result) << announced;
        EXPECT_EQ(agent.printed.starts_with("Adapter #"), listed) << announced;
        EXPECT_EQ(agent.again, kNotConnected)
            << "what is left over is nobody's reply: " << announced;
    }
}

TEST(Threads, SixtyFourSessionsAgainstOneAgent) {
    SimulatedAgent agent("linux");
    std::vector<std::string> listings(64);
    std::vector<std::thread> threads;
    for (std::string& listing : listings) {
        threads.emplace_back([&agent, &listing] {
            TestSession session;
            if (session.Connect(agent.Port()) != kSuccess) return;
            (void)session.FetchCapabilities(session.result.data());
            for (int round = 0; round < 5; ++round) session.Run({"korvane", "listadapterprops"});
            listing = session.Printed();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(listings[0].starts_with("Adapter #"));
    for (const std::string& listing : listings) EXPECT_EQ(listing, listings[0]);
}
