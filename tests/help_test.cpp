/// What is said of commands, keys and values: help, whole, and the notes about a request.
#include "zwmgmt/help.h"

#include <set>

#include "tests/support.h"
#include "zwmgmt/argument_notes.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

std::string NotesOn(uint8_t os_type, const std::vector<std::string>& words) {
    CommandWords command(Pointers(words).data(), words.size());
    if (command.Request() == nullptr) return command.Error();
    const ArgumentNotes notes(SessionOf(os_type), command.Request());
    std::string text = notes.Refused() ? "refused\n" : "";
    for (size_t i = 0; i < notes.Count(); ++i) {
        text += notes[i].text + std::string("\n");
        if (notes[i].argument < 0) continue;
        const char* value = command.Request()->arguments[notes[i].argument].value;
        EXPECT_NE(text.find(value), std::string::npos) << "the entry that is meant";
    }
    EXPECT_EQ(SessionOf(os_type).Printed(), "");
    return text;
}

}  // namespace

TEST(Help, SaysWhatTheListingHas) {
    const auto cases = Split("\n" + Listing("help.txt"), "\n$ korvane_zwcli ");
    EXPECT_GE(cases.size(), 10u);
    for (size_t i = 1; i < cases.size(); ++i) {
        const size_t end = cases[i].find('\n');
        const ProcessResult run = Zwcli(1, Split(cases[i].substr(0, end), " "));
        const bool refused = run.exit_status == 2;
        std::string said = refused ? run.err : run.out;
        if (i + 1 < cases.size()) said.pop_back();
        EXPECT_EQ(said, cases[i].substr(end + 1)) << cases[i].substr(0, end);
        EXPECT_EQ(refused ? run.out : run.err, "");
    }
}

TEST(Help, IsOfAServiceAndACommandAtMost) {
    const char* const words[] = {"korvane", "listports", "pci"};
    EXPECT_FALSE(PrintHelp(stdout, words, 3));
}

TEST(Help, HasAnExampleOfEachCommandThatWorks) {
    const std::string package_name = "KorvaneZwire-4.3.0.tar.gz";
    const TemporaryFile package("x", "-" + package_name);
    // Examples, in order, and those of others that need what they leave behind.
    const Table<std::string, std::set<std::string>> leaves = {
        {"system install", {"system getinstallresult"}},
        {"system loaddriver",
         {"system reloaddriver", "system unloaddriver", "tm add", "tm modify", "tm delete",
          "tm list"}},
        {"filter addx3", {"filter deletex3", "filter modifyx3", "filter listx3"}},
        {"filter add", {"filter delete", "filter modify", "filter list"}},
        {"tm add", {"tm modify", "tm delete", "tm list"}}};
    const auto example_of = [&](const std::string& name) {
        const std::string help = Zwcli(1, Words("help " + name)).out;
        const auto pieces = Split(help, "\nExample: ");
        EXPECT_EQ(pieces.size(), 2u) << help;
        EXPECT_TRUE(pieces.back().starts_with(name)) << help;
        return Words(Replaced(pieces.back(), package_name, package.Path()));
    };
    size_t tried = 0;
    for (const std::string& line : Split(Zwcli(1, {"help"}).out, "\n")) {
        const auto head = Words(line);
        const std::set<std::string> no_commands = {"help", "agents", "hosts", "policy", "not"};
        if (line.starts_with(" ") || head.size() < 2 || no_commands.contains(head[0])) continue;
        const std::string name = head[0] + " " + head[1];
        std::vector<std::string> names;
        for (const auto& [first, others] : leaves) {
            if (others.contains(name)) names.push_back(first);
        }
        names.push_back(name);
        SimulatedAgent agent("linux");
        for (const std::string& each : names) {
            const ProcessResult run = Zwcli(agent.Port(), example_of(each));
            EXPECT_EQ(run.exit_status, 0) << name << ": " << each << '\n' << run.out << run.err;
            EXPECT_EQ(run.err, "") << name;
        }
        ++tried;
    }
    EXPECT_GT(tried, 30u);
}

TEST(ArgumentNotes, SayWhatIsSentOtherwiseAndWhatARefusedEntryMayBe) {
    const TemporaryFile package("x", "-KorvaneZwire");
    const TemporaryFile rule("dst port 1 => offload\n");
    const TemporaryFile rules("dst port 1 => offload; dst port 2 => offload\nvlan 3 => !offload");
    const auto with_paths = [&](std::string text) {
        text = Replaced(Replaced(text, "%package", package.Path()), "%rules", rules.Path());
        return Replaced(text, "%rule", rule.Path());
    };
    for (const auto& row : Cases("notes")) {
        const auto os_type = static_cast<uint8_t>(Number(row[0]));
        const std::string refused = row[2].empty() ? "" : row[2] + '\n';
        EXPECT_EQ(NotesOn(os_type, Words(with_paths(row[1]))), refused + with_paths(row[3]))
            << row[0] << row[1];
    }
    EXPECT_EQ(NotesOn(kXen, {"net", "traceroute", "host=a"}), "") << "the agent lacks the command";
}
