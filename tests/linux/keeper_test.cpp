/// The privileged half against a network half that is in other hands, and the guard of logins.
#include "linux_agent/keeper.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <list>
#include <optional>

#include "agent/listeners.h"
#include "linux_agent/channel.h"
#include "tests/support.h"
#include "zwmgmt/fixed_text.h"

namespace zmagent {
namespace {

namespace agent = zwmgmt::agent;
namespace platform = zwmgmt::platform;
using testing_support::BytesOf;

/// A host that nothing of this gets to.
struct SilentHost : Host {
    uint8_t OsType() const override { return zwmgmt::kLinux; }
    uint8_t WordSize() const override { return 8; }
    agent::Reply Answer(uint8_t, uint16_t, std::span<const uint8_t>) override { return {}; }
    agent::Reply AnswerTo(Client&, uint8_t, uint16_t, std::span<const uint8_t>) override {
        return {};
    }
};

/// A channel to a keeper, for a client of this machine.
class Intruder {
  public:
    Intruder(Keeper& keeper, const Config& config) {
        auto service = std::make_shared<Service>();
        service->config = config;
        service->host = std::make_unique<SilentHost>();
        std::string error;
        agent::Listeners listeners;
        EXPECT_TRUE(listeners.Open({"127.0.0.1"}, 0, &error)) << error;
        platform::Reason reason;
        client =
            Descriptor(static_cast<int>(platform::CreateSocket(platform::Family::kIpv4, &reason)));
        EXPECT_TRUE(platform::BeginConnecting(client.Number(), platform::kIpv4Loopback,
                                              listeners.Port(), &reason));
        Descriptor server(static_cast<int>(
            platform::Accept(listeners.Sockets(), platform::Milliseconds(10'000))));
        Descriptor others;
        EXPECT_TRUE(MakeChannel(&channel, &others));
        keeper.Begin(service, std::move(others), std::move(server));
    }

    /// The status of the answer; nothing where the keeper has hung up.
    std::optional<uint32_t> Ask(Question question, const std::vector<uint8_t>& data) {
        Answer answer = {};
        const auto* bytes = reinterpret_cast<const uint8_t*>(&question);
        if (!WriteWhole(channel.Number(), {bytes, sizeof(question)}) ||
            !WriteWhole(channel.Number(), data) ||
            !ReadWhole(channel.Number(), {reinterpret_cast<uint8_t*>(&answer), sizeof(answer)})) {
            return {};
        }
        EXPECT_EQ(answer.length, 0u);
        return answer.status;
    }

  private:
    Descriptor client;
    Descriptor channel;
};

/// With a PAM service that one module judges all by, and this process's user to log in.
class Keepers : public testing::Test {
  protected:
    Keepers() {
        const passwd* account = getpwuid(getuid());
        group = getgrgid(account->pw_gid)->gr_name;
        zwmgmt::SetFixedText(login.user_name, std::string_view(account->pw_name));
        config.pam_folder = folder;
        EXPECT_TRUE(audit.Open("/dev/null", &error)) << error;
    }
    ~Keepers() override { std::filesystem::remove_all(folder); }

    void JudgeBy(const std::string& module) {
        std::filesystem::create_directory(folder);
        std::ofstream(folder + "/korvane-zmagent")
            << "auth required " + module + "\naccount required " + module + "\n";
    }

    const std::string folder = testing::TempDir() + "zmagent-pam-" + std::to_string(getpid());
    std::string group, error;
    LoginRecord login = {};
    Config config;
    Audit audit;
};

TEST_F(Keepers, GiveANetworkHalfNothingWithoutALogin) {
    JudgeBy("pam_deny.so");
    const std::vector<uint8_t> unknown(sizeof(login));
    struct Case {
        const char* what;
        Question question;
        std::vector<uint8_t> data;
        std::optional<uint32_t> status;
    };
    const auto rejected = std::optional<uint32_t>(zwmgmt::kLoginRejected);
    const Case cases[] = {
        {"a question",
         {Asked::kRequest, zwmgmt::kKorvane, zwmgmt::kListAdapterProps, 0},
         {},
         rejected},
        {"a change", {Asked::kRequest, zwmgmt::kNet, zwmgmt::kSetMtu, 1}, {0}, rejected},
        {"no command", {Asked::kRequest, 200, 60000, 0}, {}, rejected},
        {"an unknown user", {Asked::kLogin, 0, 0, sizeof(login)}, unknown, rejected},
        {"half a login", {Asked::kLogin, 0, 0, 4}, {1, 2, 3, 4}, {}},
        {"no kind", {static_cast<Asked>(9), 0, 0, 0}, {}, {}},
        {"too much", {Asked::kRequest, 4, 142, sizeof(LoginRecord) + 1}, {}, {}},
    };
    Keeper keeper(audit);
    for (const Case& row : cases) {
        SCOPED_TRACE(row.what);
        Intruder intruder(keeper, config);
        EXPECT_EQ(intruder.Ask(row.question, row.data), row.status);
    }
}

TEST_F(Keepers, KnowWhoAsksAndWhatHeMay) {
    JudgeBy("pam_permit.so");
    config.readers = {group};
    const Question log_in = {Asked::kLogin, 0, 0, sizeof(LoginRecord)};
    Keeper keeper(audit);
    Intruder intruder(keeper, config);
    EXPECT_EQ(intruder.Ask(log_in, BytesOf(login)), zwmgmt::kSuccess);
    const Question change = {Asked::kRequest, zwmgmt::kNet, zwmgmt::kSetMtu, sizeof(MtuRequest)};
    EXPECT_EQ(intruder.Ask(change, std::vector<uint8_t>(sizeof(MtuRequest))),
              zwmgmt::kNoReadWriteToken);
    // Nobody becomes another one on the way.
    EXPECT_EQ(intruder.Ask(log_in, BytesOf(login)), std::nullopt);
}

TEST(Confirmations, AreOfTheUserOnTheSamePathAfterTheChange) {
    const Ends ends = {.host = {.bytes = {10, 0, 0, 1}}, .client = {.bytes = {10, 0, 0, 2}}};
    const Ends other_host = {.host = {.bytes = {10, 0, 0, 3}}, .client = ends.client};
    const Ends other_client = {.host = ends.host, .client = other_host.host};
    const auto before = Confirmations::Clock::now();
    std::string put_back;
    {
        Confirmations confirmations;
        for (const char* each : {"a", "b"}) {
            confirmations.Expect("alice", ends, std::chrono::hours(1),
                                 [&put_back, each] { put_back += each; });
        }
        confirmations.Expect("bob", ends, std::chrono::hours(1), [&] { put_back += "bob"; });
        const auto after = Confirmations::Clock::now() + std::chrono::seconds(1);
        EXPECT_EQ(confirmations.Confirm("alice", ends, before), 0u);
        EXPECT_EQ(confirmations.Confirm("alice", other_host, after), 0u);
        EXPECT_EQ(confirmations.Confirm("alice", other_client, after), 0u);
        EXPECT_EQ(confirmations.Confirm("bob", ends, after), 1u);
        for (size_t i = 2; i <= Confirmations::kMost; ++i) {
            EXPECT_EQ(confirmations.Expect("carol", ends, std::chrono::hours(1), [] {}),
                      i < Confirmations::kMost);
        }
    }
    EXPECT_EQ(put_back, "ba");  // the latest first
}

TEST(Confirmations, EndWithThoseThatTheyStandOn) {
    const Ends ends = {.host = {.bytes = {10, 0, 0, 1}}, .client = {.bytes = {10, 0, 0, 2}}};
    std::promise<void> first_is_done;
    std::string put_back;
    Confirmations confirmations;
    confirmations.Expect("alice", ends, std::chrono::seconds(1), [&] {
        put_back += "a";
        first_is_done.set_value();
    });
    confirmations.Expect("bob", ends, std::chrono::hours(1), [&] { put_back += "b"; });
    first_is_done.get_future().wait();
    EXPECT_EQ(put_back, "ba");
}

/// What a network half may do with packages that is in other hands than its client's.
TEST_F(Keepers, TakeOfPackagesWhatWasAnnounced) {
    JudgeBy("pam_permit.so");
    config.operators = {group};
    config.install_hook = "/usr/bin/true";
    config.spool = folder + "/spool";
    config.package_most_bytes = 40'000;

    struct Ask {
        Asked asked;
        size_t length = 0;  // of what comes with it, where that is no record
        FileRecord record = {};
    };
    const auto file = [](std::string_view name, uint64_t size, uint32_t flags = 1,
                         std::string_view extra = "") {
        Ask ask = {.asked = Asked::kFile, .length = sizeof(FileRecord)};
        ask.record.size = size;
        ask.record.flags = flags;
        zwmgmt::SetFixedText(ask.record.name, name);
        zwmgmt::SetFixedText(ask.record.extra, extra);
        return ask;
    };
    const Ask whole = {.asked = Asked::kWhole};
    const Ask broken_off = {.asked = Asked::kBrokenOff};
    const auto piece = [](size_t length) { return Ask{.asked = Asked::kPiece, .length = length}; };
    constexpr uint32_t kBad = zwmgmt::kInvalidValue;
    constexpr uint32_t kRefused = zwmgmt::kRequestRefused;
    struct Case {
        const char* what;
        std::vector<Ask> asks;
        std::vector<uint32_t> statuses;  // fewer than are asked: then the keeper has hung up
    };
    const Case cases[] = {
        {"no file", {piece(1), whole, broken_off}, {kBad, kBad, 0}},
        {"too many bytes", {file("a", 8), piece(9), piece(8), whole}, {0, kRefused, kBad, kBad}},
        {"too few", {file("a", 8), piece(7), whole, piece(1)}, {0, 0, kRefused, kBad}},
        {"two at once", {file("a", 8), file("b", 1), piece(8)}, {0, 0, kRefused}},
        {"broken off", {file("a", 8), piece(7), broken_off, piece(1)}, {0, 0, 0, kBad}},
        {"left alone", {file("a", 8), piece(7)}, {0, 0}},
        {"a long piece", {file("a", 20'000), piece(16'385)}, {0}},
        {"half a record", {{.asked = Asked::kFile, .length = 8}}, {kBad}},
        {"too large", {file("a", 40'001)}, {kBad}},
        {"beyond all", {file("a", UINT64_MAX)}, {kBad}},
        {"empty", {file("a", 0)}, {kBad}},
        {"no name", {file("", 1)}, {kBad}},
        {"a path", {file("a/b", 1), file("..", 1), file(".about.toml", 1)}, {kBad, kBad, kBad}},
        {"an option", {file("-a", 1), file("a;b", 1), file("a\nb", 1)}, {kBad, kBad, kBad}},
        {"a long name", {file(std::string(129, 'a'), 1)}, {kBad}},
        {"types without a name", {file("a", 1, 1u << 19), file("a", 1, 1u << 25)}, {kBad, kBad}},
        {"options", {file("a", 1, 0x200, "a$b"), file("a", 1, 1, "\6")}, {kBad, kBad}},
        {"options", {file("a", 1, 0x200, "my.conf"), file("a", 1, 1, "\5")}, {0, 0}},
    };
    const auto send = [](Intruder& intruder, Asked asked, const auto& record, size_t length) {
        std::vector<uint8_t> data = BytesOf(record);
        data.resize(length);
        return intruder.Ask({asked, 0, 0, static_cast<uint32_t>(length)}, data);
    };
    {
        Keeper keeper(audit);
        for (const Case& row : cases) {
            SCOPED_TRACE(row.what);
            Intruder intruder(keeper, config);
            ASSERT_EQ(send(intruder, Asked::kLogin, login, sizeof(login)), zwmgmt::kSuccess);
            for (size_t i = 0; i < row.asks.size(); ++i) {
                const Ask& ask = row.asks[i];
                const auto status = i < row.statuses.size() ? std::optional(row.statuses[i])
                                                            : std::optional<uint32_t>();
                EXPECT_EQ(send(intruder, ask.asked, ask.record, ask.length), status) << i;
            }
        }
    }
    {
        Keeper keeper(audit);
        std::list<Intruder> many;
        for (size_t i = 0; i <= 16; ++i) {
            Intruder& one = many.emplace_back(keeper, config);
            ASSERT_EQ(send(one, Asked::kLogin, login, sizeof(login)), zwmgmt::kSuccess);
            EXPECT_EQ(send(one, Asked::kFile, file("a", 1).record, sizeof(FileRecord)),
                      i < 16 ? zwmgmt::kSuccess : zwmgmt::kStillRunning);
        }
        many.clear();  // the keeper waits for those that are there
    }
    EXPECT_TRUE(std::filesystem::is_empty(config.spool));
}

TEST(LoginGuard, MakesGuessingSlowForAnAddressAlone) {
    using std::chrono::milliseconds;
    LoginGuard guard;
    const auto now = LoginGuard::Clock::now();
    const platform::Address bad = {.bytes = {10, 0, 0, 1}};
    const platform::Address other = {.bytes = {10, 0, 0, 2}};
    EXPECT_EQ(guard.TurnOf(bad, now), milliseconds(0));
    for (int i = 0; i < 4; ++i) guard.NoteFailure(bad, "root", now);
    // Each takes its turn behind the others.
    EXPECT_EQ(guard.TurnOf(bad, now), milliseconds(250));
    EXPECT_EQ(guard.TurnOf(bad, now), milliseconds(250 + 2000));
    EXPECT_EQ(guard.TurnOf(other, now), milliseconds(0));
    // Who has mistyped is forgiven; who has an account cannot try others' on its account.
    guard.NoteFailure(other, "alice", now);
    guard.NoteSuccess(other, "alice");
    EXPECT_EQ(guard.TurnOf(other, now), milliseconds(0));
    guard.NoteSuccess(bad, "mallory");
    EXPECT_EQ(guard.FailuresOf(bad), 4u);
    EXPECT_EQ(guard.TurnOf(bad, now + LoginGuard::kMemory * 2), milliseconds(0));

    // All of an IPv6 network are one, and many networks do not take the memory.
    const auto neighbour = [](uint8_t network, uint8_t host) {
        platform::Address address = platform::kIpv6Loopback;
        address.bytes[7] = network;
        address.bytes[15] = host;
        return address;
    };
    guard.NoteFailure(neighbour(1, 1), "root", now);
    EXPECT_GT(guard.TurnOf(neighbour(1, 2), now), milliseconds(0));
    EXPECT_EQ(guard.TurnOf(neighbour(2, 2), now), milliseconds(0));
    for (uint32_t i = 0; i < LoginGuard::kMostAddresses + 10; ++i) {
        platform::Address one = {};
        std::memcpy(one.bytes, &i, sizeof(i));
        guard.NoteFailure(one, "root", now + milliseconds(i));
    }
    EXPECT_EQ(guard.FailuresOf(neighbour(1, 1)), 0u);  // the oldest is forgotten
}

TEST(AuditLog, KeepsToALine) {
    AuditEntry entry = {.user = "a\"b\nc\x1b[2J", .address = "::1", .command = "login"};
    entry.keys.emplace_back("key", std::string(1000, 'x'));
    entry.status = zwmgmt::kLoginRejected;
    const std::string line = LineOf(entry);
    EXPECT_EQ(line.find_first_of("\n\x1b"), line.npos);
    EXPECT_NE(line.find("user=\"a\\\"b?c?[2J\""), line.npos) << line;
    EXPECT_LT(line.size(), 500u);
}

}  // namespace
}  // namespace zmagent
