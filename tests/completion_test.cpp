/// What can stand at the end of a line.
#include "front_end/completion.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "front_end/shell_words.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

std::string Offered(const std::string& line, const zwcli::CompletionSources& sources) {
    const zwcli::Completion found = zwcli::Complete(line, sources);
    std::string text = line.substr(0, found.begin) + "|";
    for (const std::string& candidate : found.candidates) text += " " + candidate;
    return text;
}

}  // namespace

TEST(Completion, OffersWhatTheTablesHaveAndTheAgentKnows) {
    SimulatedAgent agent("linux");
    TestSession session(agent.Port());
    const std::string x4 = "pci=0000:05:00.4", location = "pci=0000:";
    ASSERT_EQ(session.Run({"filter", "add", x4.c_str(), "id=8", "lport=80"}), 0);
    for (const char* of : {"ifname=eth2", "ifname=eth3"}) {
        ASSERT_EQ(session.Run({"filter", "addx3", of, "id=5", "dport=80"}), 0);
    }
    ASSERT_EQ(session.Run({"filter", "addx3", "ifname=eth3", "id=6", "dport=80"}), 0);
    const zwcli::CompletionSources sources = {
        {"help", "hosts"}, kLinux, [&](const auto& words, const auto& fields) {
            return zwcli::AskForRows(session, session.result.data(), words, fields);
        }};
    const Table<std::string, std::string> rows = {
        {"h", "| help hosts"},
        {"net ping g", "net ping | getresult"},
        {"korvane setportproperty rss", "korvane setportproperty |"},
        {"korvane setportproperty tso=", "korvane setportproperty | tso=0 tso=1"},
        {"system install conftype=",
         "system install | conftype=0 conftype=1 conftype=2 conftype=3 "
         "conftype=4 conftype=5"},
        {"filter list pci=", "filter list | pci=0000:05:00.4 pci=0000:82:00.4"},
        {"korvane listports pci='0000:03", "korvane listports | pci=0000:03:00.0"},
        {"korvane getportstats " + x4 + " port=",
         "korvane getportstats " + x4 + " | port=0 port=1 port=2 port=3"},
        {"net mtu set ifname=eth2", "net mtu set | ifname=eth2"},
        {"filter deletex3 id=", "filter deletex3 | id=5 id=6"},
        {"filter deletex3 ifname=eth2 id=", "filter deletex3 ifname=eth2 | id=5"},
        {"filter delete " + x4 + " id=", "filter delete " + x4 + " | id=8"},
        {"filter setcomb comb=protocol,\\ tos,\\ vlan,\\ p",
         "filter setcomb | "
         "comb='protocol, tos, vlan, port'"},
        {"net nat ", "net nat |"},
    };
    for (const auto& [line, expected] : rows) EXPECT_EQ(Offered(line, sources), expected);
    EXPECT_EQ(Offered("filter list pci=", {}), "filter list |") << "nobody to ask";
}

TEST(Completion, DoesNotBelieveTheAgent) {
    const zwcli::CompletionSources sources = {
        {}, kLinux, [](const auto&, const auto&) {
            return zwcli::Rows{{"\x1b[2J"}, {"a b"},     {""}, {std::string(129, 'x')},
                               {"it's"},    {"\xc2\x9b"}};
        }};
    EXPECT_EQ(Offered("system loaddriver drvname=", sources),
              "system loaddriver | drvname='a b' drvname='it'\\''s'");
    std::vector<std::string> words;
    EXPECT_EQ(zwcli::SplitWords("drvname='it'\\''s'", &words), "");
    EXPECT_EQ(words.at(0), "drvname=it's");
}

TEST(Completion, AnswersShells) {
    const TemporaryFile settings(
        "[groups]\nweb = \"node[1-2],rack:40\"\nbig = \"n[1-9999]\"\nodd = \"[\"\n");
    const std::string key = " SHA256:" + std::string(43, 'a');
    const TemporaryFile known("db:35001" + key + "\n[::1]:35001" + key +
                              "\n|c2FsdA==|aGFzaA==" + key + "\n");
    const std::string begin =
        "korvane_zwcli --config '" + settings.Path() + "' --known-agents '" + known.Path() + "' ";
    for (const auto& cells : Cases("completion_words")) {
        const ProcessResult run = RunProcess(
            {ZWCLI_PATH, "--complete", cells[0].starts_with('\'') ? cells[0] : begin + cells[0]});
        std::string words;
        std::istringstream lines(run.out);
        for (std::string line; std::getline(lines, line);) {
            const bool is_marker = line.starts_with('\t');
            words +=
                " " + (is_marker ? Replaced(line, "\t", "/") : line.substr(0, line.find('\t')));
        }
        EXPECT_EQ(words, cells[1].empty() ? "" : " " + cells[1]) << cells[0];
        EXPECT_EQ(std::to_string(run.exit_status) + run.err, "0") << cells[0];
    }
}

/// Nobody is met, asked for a password or told of anything, and nothing is written.
TEST(Completion, AsksAnAgentThatIsKnownWhereItMay) {
    SimulatedAgent agent("linux", {.login = agent::OneUser{"operator", "secret"}});
    const std::string host = "127.0.0.1:" + std::to_string(agent.Port());
    const TemporaryFile known("# mine\n"), password("secret\n"), wrong("wrong\n"), nothing("");
    const ProcessResult met =
        RunProcess({ZWCLI_PATH, "--known-agents", known.Path(), "agents", "add", host});
    ASSERT_EQ(met.exit_status, 0) << met.err;
    const std::string ask = "--complete-live 60s --known-agents '" + known.Path() + "' ";
    const auto file = [](const TemporaryFile& of) {
        return "--password-file '" + of.Path() + "' ";
    };
    const Table<std::string, std::string> rows = {
        {ask + file(password), "pci=0000:05:00.4\npci=0000:82:00.4\n"},
        {ask + file(password) + "--complete-live 0s ", ""},
        {ask + file(password) + "--verify off ", ""},
        {ask + file(password) + "--known-agents '" + nothing.Path() + "' ", ""},
        {ask + file(wrong), ""},
        {ask, ""},
    };
    for (const auto& [options, expected] : rows) {
        const ProcessResult run = RunProcess(
            {ZWCLI_PATH, "--complete",
             "korvane_zwcli --user operator --host " + host + " " + options + "filter list pci="});
        EXPECT_EQ(run.out, expected) << options;
        EXPECT_EQ(std::to_string(run.exit_status) + run.err, "0") << options;
    }
    EXPECT_FALSE(std::filesystem::exists(nothing.Path() + ".lock"));
}

TEST(Completion, OffersFiles) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("zwmgmt-files-" + std::to_string(OwnProcessId()));
    std::filesystem::create_directories(folder / "rules of mine");
    std::ofstream(folder / "rules.zwp") << "\n";
    const std::string begun = folder.generic_string() + "/ru";
    const std::string found = Offered("tm add policy=@" + begun, {});
    EXPECT_EQ(Replaced(found, folder.generic_string(), "DIR"),
              "tm add | policy='@DIR/rules of mine/ policy=@DIR/rules.zwp");
    EXPECT_EQ(Offered("system install zwirepath=" + begun + "les.", {}),
              "system install | zwirepath=" + begun + "les.zwp");
    std::filesystem::remove_all(folder);
}
