/// One command at many hosts, among them dead, refusing, silent and lying ones.
#include <algorithm>
#include <list>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

#include "front_end/difference.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;
using nlohmann::json;

namespace {

/// As answers have it: the system may well choose the default port, which they leave out.
std::string Name(uint16_t port) {
    return port == 35001 ? "127.0.0.1" : "127.0.0.1:" + std::to_string(port);
}

/// A port at which nobody listens any more.
uint16_t FreePort() {
    return RawAgent([](SSL*) {}).Port();
}

agent::Options WithLogin(const char* password) {
    return {.login = agent::OneUser{"operator", password}, .rejection_delay = {}};
}

agent::Options Faulty(const zmsim::WireFaults& faults) {
    return {.wrap = zmsim::WithFaults(faults)};
}

/// Hosts of every kind. The answer of one of those that are well differs in a line.
struct Mixture {
    SimulatedAgent first{"linux", WithLogin("secret")}, second{"linux"}, other{"linux"};
    SimulatedAgent stranger{"linux", WithLogin("unknown")};
    SimulatedAgent cut{"linux", Faulty({.cut_after = 100})};
    SimulatedAgent stalled{"linux", Faulty({.stall_after = 26})};
    RawAgent silent{[](platform::SocketHandle socket) {
        platform::WaitFor(socket, platform::Direction::kRead, platform::Milliseconds(60'000));
        for (char byte; platform::Receive(socket, &byte, 1) != 0;) {
            platform::WaitFor(socket, platform::Direction::kRead, platform::Milliseconds(60'000));
        }
    }};
    uint16_t refusing = FreePort();
    TemporaryFile password{"secret\n"};
    std::string hosts;

    enum class Slow { kNone, kTwo };

    explicit Mixture(Slow slow = Slow::kNone) {
        SetReadableByOthers(password.Path(), false);
        Zwcli(other.Port(), Words("korvane setportproperty pci=0000:05:00.4 port=2 mtu=9000"));
        std::vector<uint16_t> ports = {refusing,     stranger.Port(), cut.Port(),
                                       first.Port(), other.Port(),    second.Port()};
        if (slow == Slow::kTwo) ports.insert(ports.end(), {silent.Port(), stalled.Port()});
        for (const uint16_t port : ports) {
            hosts += Name(port) + "\n";
        }
    }

    ProcessResult Run(const std::string& options,
                      const std::string& command = "korvane listports pci=0000:05:00.4") {
        return Zwcli(1,
                     Words("--hosts - --user operator --password-file " + password.Path() +
                           " --retries 1 " + options + " " + command),
                     hosts);
    }
};

using Text = std::vector<std::string>;

/// The second text, made of the first by what is said of their difference.
Text Applied(const Text& before, const std::string& difference) {
    Text result;
    size_t at = 0;
    for (const std::string& line : zwcli::LinesOf(difference)) {
        const std::string rest = line.substr(1);
        if (line.starts_with("---") || line.starts_with("+++")) continue;
        if (line.starts_with("@@")) {
            const bool none = line.substr(0, line.find('+')).find(",0 ") != line.npos;
            const auto begin = static_cast<size_t>(std::stoul(line.substr(4))) - (none ? 0 : 1);
            for (; at < begin; ++at) result.push_back(before.at(at));
        } else if (line[0] == '+') {
            result.push_back(rest);
        } else {
            EXPECT_EQ(before.at(at), rest);
            if (line[0] == ' ') result.push_back(rest);
            ++at;
        }
    }
    result.insert(result.end(), before.begin() + static_cast<std::ptrdiff_t>(at), before.end());
    return result;
}

}  // namespace

TEST(FanOut, EveryHostHasItsLinesOrItsReason) {
    Mixture hosts(Mixture::Slow::kTwo);
    const ProcessResult run = hosts.Run("--ordered --connect-timeout 2s --timeout 6s");
    EXPECT_EQ(run.exit_status, 3);
    const ProcessResult alone =
        Zwcli(hosts.second.Port(), Words("korvane listports pci=0000:05:00.4"));
    const auto with_name = [](const SimulatedAgent& agent, const std::string& text) {
        std::string prefixed;
        for (const std::string& line : zwcli::LinesOf(text)) {
            prefixed += Name(agent.Port()) + ": " + line + "\n";
        }
        return prefixed;
    };
    const std::string changed =
        Zwcli(hosts.other.Port(), Words("korvane listports pci=0000:05:00.4")).out;
    EXPECT_NE(changed, alone.out);
    EXPECT_TRUE(run.out == with_name(hosts.first, alone.out) + with_name(hosts.other, changed) +
                               with_name(hosts.second, alone.out));
    const Table<uint16_t, std::string> reasons = {
        {hosts.stalled.Port(), "not done in the time that --timeout gives"},
        {hosts.silent.Port(), "cannot open a session with the agent: "},
        {hosts.refusing, "cannot open a session with the agent: "},
        {hosts.stranger.Port(), "Authentication failed, please check username or password"},
        {hosts.cut.Port(), "connection to the agent lost: "}};
    for (const auto& [port, reason] : reasons) {
        EXPECT_NE(run.err.find("korvane_zwcli: " + Name(port) + ": " + reason), std::string::npos)
            << reason << run.err;
    }
    EXPECT_NE(run.err.find("korvane_zwcli: 3 of 8 hosts succeeded; failed: 127.0.0.1:["),
              std::string::npos)
        << run.err;
}

TEST(FanOut, EqualAnswersAreToldOnceAndOthersAsADifference) {
    Mixture hosts;
    const std::string most =
        Zwcli(hosts.second.Port(), Words("korvane listports pci=0000:05:00.4")).out;
    const std::string both = hosts.Run("--consolidate").out;
    const std::string line(15, '-');
    EXPECT_NE(both.find(" (2)\n" + line + "\n" + most + line + "\n" + Name(hosts.other.Port()) +
                        " (1)\n"),
              std::string::npos)
        << both;
    EXPECT_EQ(hosts.Run("--min-success 50").exit_status, 0);
    EXPECT_EQ(hosts.Run("--min-success 51 --fanout 2").exit_status, 3);
    const Text told = zwcli::LinesOf(hosts.Run("--diff").out);
    ASSERT_EQ(told.size(), 11u);
    EXPECT_EQ(told[1], "+++ " + Name(hosts.other.Port()));
    EXPECT_EQ(std::ranges::count_if(told, [](auto& each) { return each.starts_with("-MTU"); }), 1);
    EXPECT_EQ(std::ranges::count_if(told, [](auto& each) { return each.starts_with("+MTU"); }), 1);
}

TEST(FanOut, ProgramsGetEveryHost) {
    Mixture hosts;
    const ProcessResult run = hosts.Run("--format json");
    const json array = json::parse(run.out);
    ASSERT_EQ(array.size(), 6u);
    std::multiset<int> statuses;
    for (const json& each : array) {
        statuses.insert(each["exit_status"].get<int>());
        EXPECT_EQ(each["result"].is_null(), each["exit_status"] != 0);
    }
    EXPECT_EQ(statuses, (std::multiset<int>{0, 0, 0, 3, 3, 4}));
    std::set<int> ports;
    for (const std::string& line : zwcli::LinesOf(hosts.Run("--format jsonl").out)) {
        ports.insert(json::parse(line)["port"].get<int>());
    }
    EXPECT_EQ(ports.size(), 6u);
    const std::string head = Name(hosts.first.Port()) + ",eth4,1500\r\n";
    const std::string csv = hosts.Run("--ordered --format csv --fields name,mtu").out;
    EXPECT_TRUE(csv.starts_with("host,name,mtu\r\n" + head)) << csv;
    EXPECT_NE(csv.find(Name(hosts.other.Port()) + ",eth6,9000\r\n"), std::string::npos) << csv;
    const std::string table = hosts.Run("--format table", "system getcapabilities").out;
    EXPECT_NE(table.find(Name(hosts.first.Port()) + "  api_version"), std::string::npos) << table;
}

TEST(FanOut, FailuresKeepOtherHostsFromBeingBegun) {
    std::atomic<int> asked = 0;
    const agent::Options counting = {.tap = [&](auto, auto) { ++asked; }};
    SimulatedAgent good("linux"), spared("linux", counting);
    const std::string refusing = Name(FreePort());
    const TemporaryFile failed("", ".hosts");
    const auto run = [&](const std::string& options, const std::vector<std::string>& hosts) {
        std::string set;
        for (const std::string& host : hosts) set += host + "\n";
        return Zwcli(1,
                     Words("--hosts - --failed-to " + failed.Path() + " --format jsonl " + options +
                           " system listdrivers"),
                     set);
    };
    const std::string first = Name(good.Port()), last = Name(spared.Port());
    const auto hosts_failed = [&] { return Zwcli(1, {"hosts", "@" + failed.Path()}).out; };
    const Table<std::string, Text, std::string> rows = {
        {"--canary 1", {refusing, last}, refusing + "\n" + last + "\n"},
        {"--canary 2", {first, refusing, last}, refusing + "\n" + last + "\n"},
        {"--fanout 1 --max-failures 0", {first, refusing, last}, refusing + "\n" + last + "\n"},
        {"--fanout 1 --max-failures 40%", {refusing, first, last}, ""},
    };
    for (const auto& [options, hosts, left] : rows) {
        const ProcessResult result = run(options, hosts);
        EXPECT_EQ(result.exit_status, 3) << options;
        EXPECT_EQ(hosts_failed(), left.empty() ? refusing + "\n" : left) << options;
        EXPECT_EQ(asked == 0, !left.empty()) << options;
        EXPECT_EQ(result.out.find("\"exit_status\":7,") == std::string::npos, left.empty());
    }
    EXPECT_EQ(run("--canary 1", {first, last}).exit_status, 0);
}

TEST(FanOut, ARequestToStopKeepsWhatIsDone) {
    SimulatedAgent good("linux"), stalled("linux", Faulty({.stall_after = 26}));
    BackgroundProcess run(Words(ZWCLI_PATH " --verify off --format jsonl --fanout 2 --hosts " +
                                Name(good.Port()) + "," + Name(stalled.Port()) +
                                " system listdrivers"));
    EXPECT_EQ(json::parse(run.ReadLine())["exit_status"], 0);
    EXPECT_EQ(run.Terminate(), 130);
}

TEST(FanOut, ARequestToStopAtAnyMomentAccountsForEveryHost) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::list<SimulatedAgent> agents;
    std::multiset<std::string> hosts;
    std::string set;
    while (agents.size() < 24) {
        agents.emplace_back("linux", Faulty({.delay = platform::Milliseconds(20)}));
        set += (set.empty() ? "" : ",") + Name(agents.back().Port());
        hosts.insert(Name(agents.back().Port()));
    }
    int interrupted = 0;
    for (int round = 0; round < 12; ++round) {
        const TemporaryFile failed("", ".hosts");
        BackgroundProcess run({ZWCLI_PATH, "--verify", "off", "--format", "csv", "--fields",
                               "api_version", "--fanout", std::to_string(2 + random() % 5),
                               "--failed-to", failed.Path(), "--hosts", set, "system",
                               "getcapabilities"});
        EXPECT_EQ(run.ReadLine().substr(0, 16), "host,api_version");
        std::multiset<std::string> told;
        const auto take = [&] {
            const std::string line = run.ReadLine();
            if (!line.empty()) told.insert(line.substr(0, line.find(',')));
            return !line.empty();
        };
        for (size_t moment = random() % 16; moment > 0; --moment) take();
        const int status = run.Terminate();
        while (take()) {
        }
        const std::string left = Zwcli(1, {"hosts", "@" + failed.Path()}).out;
        for (const std::string& host : zwcli::LinesOf(left)) told.insert(host);
        EXPECT_EQ(told, hosts);
        EXPECT_EQ(status, left.empty() ? 0 : 130);
        interrupted += status == 130;
    }
    EXPECT_GT(interrupted, 0);
}

TEST(FanOut, ADifferenceMakesOneTextOfTheOther) {
    std::mt19937 random(7);
    const auto some = [&](size_t most) {
        Text lines(random() % (most + 1));
        for (std::string& line : lines)
            line = std::string(1, static_cast<char>('a' + random() % 4));
        return lines;
    };
    const auto joined = [](const Text& lines) {
        std::string text;
        for (const std::string& line : lines) text += line + "\n";
        return text;
    };
    Table<Text, Text> rows;
    for (int i = 0; i < 300; ++i) rows.emplace_back(some(30), some(30));
    rows.emplace_back(Text(1500, "x"), Text(1501, "y"));
    for (const auto& [before, after] : rows) {
        const std::string told =
            zwcli::UnifiedDifference({"a", joined(before)}, {"b", joined(after)});
        EXPECT_EQ(Applied(before, told), after) << told;
        EXPECT_EQ(told.empty(), before == after);
    }
    EXPECT_EQ(zwcli::UnifiedDifference({"a", "1\n2\n3\n4\n5\n"}, {"b", "1\n2\n3\n4\nx\n5\n"}),
              "--- a\n+++ b\n@@ -2,4 +2,5 @@\n 2\n 3\n 4\n+x\n 5\n");
}
