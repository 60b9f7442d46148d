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
#include <optional>
#include <string>
#include <vector>

#include "agent/listeners.h"
#include "linux_agent/channel.h"
#include "simulator/scenario_host.h"
#include "tests/support.h"
#include "zwmgmt/fixed_text.h"

namespace zmagent {
namespace {

namespace agent = zwmgmt::agent;
namespace platform = zwmgmt::platform;

/// A PAM service that one module judges all by.
struct PamFolder {
    explicit PamFolder(const std::string& module) {
        std::filesystem::create_directory(path);
        std::ofstream(path + "/korvane-zmagent")
            << "auth required " + module + "\naccount required " + module + "\n";
    }
    ~PamFolder() { std::filesystem::remove_all(path); }

    const std::string path = testing::TempDir() + "zmagent-pam-" + std::to_string(getpid());
};

class SimulatedHost : public Host {
  public:
    uint8_t OsType() const override { return host.OsType(); }
    uint8_t WordSize() const override { return host.WordSize(); }
    agent::Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override {
        return host.Answer(service, opcode, data);
    }
    agent::Reply AnswerTo(Client& /*client*/, uint8_t service, uint16_t opcode,
                          std::span<const uint8_t> data) override {
        return host.Answer(service, opcode, data);
    }

  private:
    zmsim::ScenarioHost host{testing_support::BuiltinScenario("linux")};
};

/// A channel to a keeper, for a client of this machine.
class Intruder {
  public:
    Intruder(Keeper& keeper, const Config& config) {
        auto service = std::make_shared<Service>();
        service->config = config;
        service->host = std::make_unique<SimulatedHost>();
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

TEST(Keeper, GivesANetworkHalfNothingWithoutALogin) {
    const std::vector<uint8_t> login(sizeof(LoginRecord));
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
        {"an unknown user", {Asked::kLogin, 0, 0, sizeof(LoginRecord)}, login, rejected},
        {"half a login", {Asked::kLogin, 0, 0, 4}, {1, 2, 3, 4}, {}},
        {"no kind", {static_cast<Asked>(9), 0, 0, 0}, {}, {}},
        {"too much", {Asked::kRequest, 4, 142, sizeof(LoginRecord) + 1}, {}, {}},
    };
    Audit audit;
    std::string error;
    ASSERT_TRUE(audit.Open("/dev/null", &error)) << error;
    Keeper keeper(audit);
    const PamFolder folder("pam_deny.so");
    Config config;
    config.pam_folder = folder.path;
    for (const Case& row : cases) {
        SCOPED_TRACE(row.what);
        Intruder intruder(keeper, config);
        EXPECT_EQ(intruder.Ask(row.question, row.data), row.status);
    }
}

TEST(Keeper, KnowsWhoAsksAndWhatHeMay) {
    const PamFolder folder("pam_permit.so");
    Config config;
    config.pam_folder = folder.path;
    const passwd* account = getpwuid(getuid());
    ASSERT_NE(account, nullptr);
    config.readers = {getgrgid(account->pw_gid)->gr_name};
    LoginRecord login = {};
    zwmgmt::SetFixedText(login.user_name, std::string_view(account->pw_name));
    const auto* bytes = reinterpret_cast<const uint8_t*>(&login);
    const std::vector<uint8_t> data(bytes, bytes + sizeof(login));
    const Question log_in = {Asked::kLogin, 0, 0, sizeof(LoginRecord)};
    Audit audit;
    std::string error;
    ASSERT_TRUE(audit.Open("/dev/null", &error)) << error;
    Keeper keeper(audit);
    Intruder intruder(keeper, config);
    EXPECT_EQ(intruder.Ask(log_in, data), zwmgmt::kSuccess);
    const Question change = {Asked::kRequest, zwmgmt::kNet, zwmgmt::kSetMtu, sizeof(MtuRequest)};
    EXPECT_EQ(intruder.Ask(change, std::vector<uint8_t>(sizeof(MtuRequest))),
              zwmgmt::kNoReadWriteToken);
    // Nobody becomes another one on the way.
    EXPECT_EQ(intruder.Ask(log_in, data), std::nullopt);
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
    }
    EXPECT_EQ(put_back, "ba");  // the latest first
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
