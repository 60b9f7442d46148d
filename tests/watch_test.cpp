/// A listing again and again: what is told of changes, and counters as rates.
#include <nlohmann/json.hpp>
#include <sstream>

#include "agent/replies.h"
#include "front_end/rate.h"
#include "tests/support.h"

using namespace testing_support;
using nlohmann::json;

namespace {

const std::string kStatistics = " korvane getcardstats pci=0000:05:00.4";
const std::string kDrivers = " system listdrivers";

/// Bytes of the replies of a session up to its first list of drivers.
constexpr size_t kFirstList = 3 * zwmgmt::kHeaderSize + sizeof(Capabilities) + 1286;

std::vector<json> AnswersOf(const std::string& lines) {
    std::vector<json> answers;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) answers.push_back(json::parse(line));
    return answers;
}

}  // namespace

TEST(Watch, ACounterThatBeganAnewHasNoRate) {
    const uint64_t most = UINT64_MAX;
    const Table<uint64_t, uint64_t, int, std::optional<uint64_t>> rows = {
        {0, 0, 1000, 0},  {5, 2005, 2000, 1000},     {0, 1, 60'000, 1},    {0, 1000, 300, 3334},
        {1, 0, 1000, {}}, {0xFFFFFFFF, 3, 1000, {}}, {most, most, 100, 0}, {0, most, 1000, {}},
        {0, 9, 0, {}},    {most - 7, most, 500, 14}};
    for (const auto& [before, after, time, rate] : rows) {
        EXPECT_EQ(zwcli::PerSecond(before, after, std::chrono::milliseconds(time)), rate)
            << before << " " << after << " " << time;
    }
}

TEST(Watch, CountersAreThoseOfTheirRecordsWhateverTheOrder) {
    using Counters = Table<std::string, uint64_t>;
    const std::vector<Counters> rounds = {
        {{"a", 10}, {"b", 20}, {"twice", 1}, {"twice", 50}},
        {{"twice", 1}, {"b", 21}, {"twice", 90}, {"new", 7}, {"a", 9}},
        {{"a", 9}, {"b", 400}},
    };
    size_t round = 0;
    CannedHost host([&](uint8_t, uint16_t opcode, auto) {
        if (opcode != zwmgmt::kGetCardStats) return agent::Failed(zwmgmt::kNotSupported);
        agent::RecordRun run;
        for (const auto& [name, value] : rounds.at(round++)) {
            VqStat counter = {.kind = 1, .name = {}, .value = value, .next = nullptr};
            zwmgmt::SetFixedText(counter.name, name);
            run.Add(counter);
        }
        return run.Finish();
    });
    TestAgent agent(host);
    const ProcessResult run =
        Zwcli(agent.Port(), Words("--watch 100ms --count 3 --rate --format jsonl" + kStatistics));
    const std::vector<json> answers = AnswersOf(run.out);
    ASSERT_EQ(answers.size(), 3u) << run.err;
    EXPECT_EQ(answers[0]["result"][1]["value"], 20);
    EXPECT_FALSE(answers[0].contains("interval_ms"));
    EXPECT_GT(answers[1]["interval_ms"], 0);
    std::string rates;
    for (const json& answer : {answers[1], answers[2]}) {
        for (const json& record : answer["result"]) {
            const bool is_fast = record.value("value", 0) > 1;
            rates += record["name"].get<std::string>();
            rates += !record.contains("value") ? "- " : is_fast ? "+ " : "0 ";
        }
    }
    EXPECT_EQ(rates, "twice0 b+ twice+ new- a- a0 b+ ");
}

TEST(Watch, OneSessionServesAllRounds) {
    CountingAgent agent;
    const auto run = [&](const std::string& words) {
        return agent.Run("--watch 100ms --count 3 " + words);
    };
    const std::string once = agent.Run(kDrivers).out;
    EXPECT_EQ(run(kDrivers).out, once);
    EXPECT_EQ(agent.openings, 1);
    const Table<std::string, std::vector<std::string>> rows = {
        {kStatistics,
         {"TxFramesOK          : 977000\n", "\n--- 20", "\n-TxFramesOK          : 977000"}},
        {"--rate" + kStatistics, {"Z\nKIND  NAME", "1     TxFramesOK        97"}},
        {"--format csv --fields name,value" + kStatistics,
         {"time,name,value\r\n20", "Z,RxFramesOK,"}},
        {"--format json" + kStatistics, {"[\n  {\n    \"time\": \"20", "  }\n]\n"}},
        {"korvane listports pci=none", {"Command failed"}},
    };
    for (const auto& [words, parts] : rows) {
        const ProcessResult done = run(words);
        EXPECT_EQ(agent.openings, 1) << words;
        for (const std::string& part : parts) {
            EXPECT_NE(done.out.find(part), std::string::npos) << part << done.out;
        }
        EXPECT_EQ(done.out.find('\x1b'), std::string::npos);
    }
}

TEST(Watch, ALostSessionIsOpenedAgain) {
    SimulatedAgent cutting("linux", {.wrap = zmsim::WithFaults({.cut_after = kFirstList + 5})});
    const ProcessResult run =
        Zwcli(cutting.Port(), Words("--watch 100ms --count 3 --format jsonl" + kDrivers));
    std::string statuses;
    for (const json& answer : AnswersOf(run.out)) statuses += answer["exit_status"].dump() + " ";
    EXPECT_EQ(statuses, "0 3 0 ");
    EXPECT_EQ(run.exit_status, 3);
    EXPECT_NE(run.err.find("connection to 127.0.0.1 port "), std::string::npos) << run.err;
}

TEST(Watch, ARequestToStopEndsWithTheLastStatus) {
    SimulatedAgent stalling("linux", {.wrap = zmsim::WithFaults({.stall_after = kFirstList})});
    BackgroundProcess run(Words(ZWCLI_PATH " --verify off --watch 100ms --format jsonl --port " +
                                std::to_string(stalling.Port()) + kDrivers));
    EXPECT_EQ(json::parse(run.ReadLine())["exit_status"], 0);
    EXPECT_EQ(run.Terminate(), 0);
}
