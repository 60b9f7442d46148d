/// Commands of a file, on one session a host.
#include <nlohmann/json.hpp>

#include "front_end/shell_words.h"
#include "tests/support.h"

using namespace testing_support;
using nlohmann::json;

namespace {

const std::string kSet = "net mtu set ifname=";

struct BatchAgent : CountingAgent {
    ProcessResult Run(const std::string& text, const std::string& options = "") {
        return CountingAgent::Run("--batch - " + options, text);
    }
};

}  // namespace

TEST(Batch, LinesAreSplitAsInAShell) {
    const Table<std::string, std::vector<std::string>, std::string> rows = {
        {R"("\"\\\$\`\a" '\' \n)", {R"("\$`\a)", "\\", "n"}, ""},
        {"policy=port 80 => $x * ; `", {"policy=port", "80", "=>", "$x", "*", ";", "`"}, ""},
        {"a 'b", {"a", "b"}, "the quote in column 3 has no end"},
        {"a \"b\\\"", {"a", "b\""}, "the quote in column 3 has no end"},
        {"a \\", {"a", ""}, "a backslash at the end: a command is one line"},
    };
    for (const auto& [line, expected, wrong] : rows) {
        std::vector<std::string> words;
        EXPECT_EQ(zwcli::SplitWords(line, &words), wrong) << line;
        EXPECT_EQ(words, expected) << line;
    }
}

TEST(Batch, AllLinesAreCheckedBeforeAnAgentIsAsked) {
    BatchAgent agent;
    const std::string good = "system listdrivers\n";
    const Table<std::string, std::string, std::string> rows = {
        {"# none\n\n", "", "standard input: there is no command in it"},
        {good + "HELP\r\n", "", ":2: HELP is this program's own command"},
        {good + "nat mtu\n" + good + "net mtu set\n", "", ":2: unknown service \"nat\"; nearest: "},
        {good + "nat mtu\n" + good + "net mtu set\n", "", ":4: Plese specify MTU"},
        {"--wait net ping host=a", "", ":1: --wait: options stand on the command line"},
        {kSet + "eth2 mtu='9", "", ":1: the quote in column 29 has no end"},
        {"korvane setportproperty pci=0000:03:00.0 port=0 mtu=none", "",
         ":1: Invalid value specified: mtu=none: expected "},
        {"filter showcomb", "", ":1: this command needs no agent"},
        {good + kSet + "eth2 mtu=9000", "--format json --fields name", ":2: this command answers"},
        {good, "--format csv", "--batch has --format text, json or jsonl"},
        {good, "system listdrivers", "--batch takes its commands from the file alone"},
        {good, "--password-file -", "standard input is there once: --batch reads it"},
        {good + std::string(10'000, '\n'), "", "more than 10000 lines"},
        {std::string((1 << 20) + 1, '#'), "", "larger than 1 MiB"},
    };
    for (const auto& [text, options, reason] : rows) {
        const ProcessResult run = agent.Run(text, options);
        EXPECT_EQ(run.exit_status, 2) << reason;
        EXPECT_NE(run.err.find(reason), std::string::npos) << reason << "\n" << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(agent.messages, 0);
    }
}

TEST(Batch, OneSessionServesAllLines) {
    BatchAgent agent;
    const std::string set = kSet + "eth2 \"mtu=9000\"  # larger\n";
    const std::string fails = kSet + "none mtu=9000\n", unsent = kSet + "eth2\n";
    const std::string other = "filter list pci=0000:05:00.4 show=all\n";
    const Table<std::string, std::string, int, int, std::string, std::string> rows = {
        {set + "\n" + set, "", 0, 4, "Successful\nSuccessful\n", ""},
        {set + fails + set, "", 1, 4, "Successful\nCommand failed\n",
         ":2: commands behind it that are not run: 1\n"},
        {fails + set + other, "--keep-going", 1, 5,
         "Command failed\nSuccessful\nThere are no filters to list...!\n",
         ":1: the agent answered: no such card or port"},
        {set + set, "--dry-run --agent-os linux", 0, 0, "The request was not sent.\n", ""},
    };
    for (const auto& [text, options, status, messages, out, err] : rows) {
        const ProcessResult run = agent.Run(text, options);
        EXPECT_EQ(run.exit_status, status) << text << run.err;
        EXPECT_TRUE(run.out.ends_with(out)) << run.out;
        EXPECT_NE(run.err.find(err), std::string::npos) << run.err;
        EXPECT_EQ(agent.messages, messages) << text;
        EXPECT_EQ(agent.openings, messages == 0 ? 0 : 1) << text;
    }
    const ProcessResult waiting = agent.Run("net ping host=localhost\n" + set, "--wait");
    EXPECT_EQ(waiting.exit_status, 0) << waiting.err;
    EXPECT_TRUE(waiting.out.ends_with("Successful\n")) << waiting.out;
}

TEST(Batch, ALostSessionEndsItAtItsLine) {
    const size_t opened = 2 * sizeof(_Message) + sizeof(Capabilities);
    SimulatedAgent cutting(
        "linux", {.wrap = zmsim::WithFaults({.cut_after = opened + sizeof(_Message) + 1})});
    CountingAgent well;
    const TemporaryFile file(Replaced("#\nx\nx\nx\nx\n", "x", kSet + "eth2 mtu=9000"));
    const std::string batch = "--keep-going --batch " + file.Path() + " ";
    const ProcessResult alone = Zwcli(cutting.Port(), Words(batch));
    EXPECT_EQ(alone.exit_status, 3);
    EXPECT_TRUE(alone.out.starts_with("Successful\n")) << alone.out;
    for (const char* said :
         {":3: connection to 127.0.0.1 port ", ":3: commands behind it that are not run: 2\n"}) {
        EXPECT_NE(alone.err.find(file.Path() + said), std::string::npos) << said << alone.err;
    }
    const std::string hosts = "--ordered --hosts 127.0.0.1:[" + std::to_string(cutting.Port()) +
                              "," + std::to_string(well.agent.Port()) + "] ";
    const ProcessResult text = Zwcli(1, Words(hosts + batch));
    EXPECT_EQ(text.exit_status, 3);
    const std::string name = "127.0.0.1:" + std::to_string(well.agent.Port());
    EXPECT_TRUE(text.out.ends_with(Replaced("xxxx", "x", name + ": Successful\n"))) << text.out;
    EXPECT_EQ(well.openings, 1);
    const json answers = json::parse(Zwcli(1, Words("--format json " + hosts + batch)).out);
    std::vector<std::pair<int, int>> lines;
    for (const json& each : answers) lines.emplace_back(each["line"], each["exit_status"]);
    EXPECT_EQ(lines,
              (std::vector<std::pair<int, int>>{{2, 0}, {3, 3}, {2, 0}, {3, 0}, {4, 0}, {5, 0}}));
}
