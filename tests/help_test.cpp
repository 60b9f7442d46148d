/// What is said of commands, keys and values: help, whole, and the notes about a request. What help
/// promises is held against the request builders.
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "tests/support.h"
#include "zwmgmt/argument_notes.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

const std::map<std::string, uint8_t> kAgents = {{"Windows", 1}, {"Linux", 2}, {"Solaris", 3},
                                                {"FreeBSD", 4}, {"ESX", 5},   {"Mac OS", 6},
                                                {"Xen", 8}};

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    for (size_t end; (end = text.find(separator, begin)) != text.npos;) {
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

/// The keys that the help of a command shows for each agent, with what they take.
using Shown = std::map<uint8_t, std::map<std::string, std::string>>;

Shown KeysShown(const std::string& help) {
    const std::string agents_follow = " agents:";
    Shown shown;
    std::set<uint8_t> agents;
    bool after_head = false;
    for (const std::string& line : Split(help, "\n")) {
        if (line.empty()) {
            after_head = true;
            agents.clear();
            for (const auto& [name, os_type] : kAgents) agents.insert(os_type);
        } else if (line.ends_with(agents_follow)) {
            agents.clear();
            const std::string names = line.substr(0, line.size() - agents_follow.size());
            for (const std::string& name : Split(names, ", ")) agents.insert(kAgents.at(name));
        } else if (after_head && line.starts_with("    ")) {
            const std::string word = line.substr(4, line.find(' ', 4) - 4);
            const size_t takes = line.find_first_not_of(' ', 4 + word.size());
            for (const uint8_t os_type : agents) shown[os_type][word] = line.substr(takes);
        }
    }
    return shown;
}

/// A value of the kind that help names.
std::string ValueFor(const std::string& word, const std::string& takes) {
    static const std::map<std::string, std::string> kValues = {
        {"speedduplex", "auto"},       {"advertise", "auto"}, {"smac", "001122334455"},
        {"dmac", "00-11-22-33-44-55"}, {"sip", "10.0.0.1/8"}, {"dip", "10.0.0.1"},
        {"lip", "10.0.0.1"},           {"fip", "10.0.0.0/8"}, {"comb", "ethertype, vlan, port"},
        {"policy", "all => offload"},  {"ip", "10.0.0.1"},    {"domain", "a.b"}};
    if (const auto row = kValues.find(word); row != kValues.end()) return row->second;
    if (const size_t has = takes.find("path has "); has != takes.npos) {
        std::string path = takes.substr(has + 9);
        return path.substr(0, path.find(" and no ")) + ".gz";
    }
    const size_t digit = takes.find_first_of("0123456789");
    if (takes.starts_with("one digit")) return takes.substr(digit, 1);
    for (const char* numeric : {"a number", "number[", "a decimal", "how many"}) {
        if (takes.starts_with(numeric)) return "1";
    }
    return takes.substr(0, takes.find_first_of(",; "));  // the least, or the first word
}

/// A session that has learnt an OS from an agent; the agent is gone.
TestSession& SessionOf(uint8_t os_type) {
    static std::map<uint8_t, std::unique_ptr<TestSession>> sessions;
    auto& session = sessions[os_type];
    if (!session) {
        CannedHost host([](auto...) { return zmsim::Reply{}; }, os_type);
        TestAgent agent(host);
        session = std::make_unique<TestSession>();
        EXPECT_EQ(session->Connect(agent.Port()), kSuccess);
    }
    return *session;
}

std::string NotesOn(uint8_t os_type, const std::vector<std::string>& words) {
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    CommandWords command(pointers.data(), pointers.size());
    if (command.Request() == nullptr) return command.Error();
    const ArgumentNotes notes(SessionOf(os_type), command.Request());
    std::string text = notes.Refused() ? "refused\n" : "";
    for (size_t i = 0; i < notes.Count(); ++i) text += notes[i].text + std::string("\n");
    EXPECT_EQ(SessionOf(os_type).Printed(), "");
    return text;
}

}  // namespace

TEST(Help, SaysWhatTheListingHas) {
    std::ifstream file(TEST_LISTINGS "/help.txt");
    std::stringstream text;
    text << file.rdbuf();
    const auto cases = Split("\n" + text.str(), "\n$ korvane_zwcli ");
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

TEST(Help, ShowsTheKeysThatTheBuildersTakeAndNoOthers) {
    const std::vector<std::string> words = Split(
        "pci port ifname id sip max lport show comb policy host domain ip numpkts timeout drvname "
        "num_vf type kxgb4path installshieldpath zwirepath txcksum rx_pause coalesce "
        "holdoff_tmr_idx "
        "hw-csum accept-jumbo tso speedduplex mss jumboqsize maxvmqueues ddpindsz jumbopacket "
        "usermodend qsize_rxq mtu vlanid x4action ipversion",
        " ");
    size_t compared = 0;
    for (const std::string& line : Split(Zwcli(1, {"help"}).out, "\n")) {
        const std::vector<std::string> head = Split(line, " ");
        if (line.starts_with(" ") || head.size() < 3 || head[0] == "help" || head[0] == "policy" ||
            head[0] == "not") {
            continue;
        }
        const Shown shown = KeysShown(Zwcli(1, {"help", head[0], head[1]}).out);
        EXPECT_FALSE(shown.empty()) << line;
        for (const auto& [os_type, keys] : shown) {
            for (const auto& [word, takes] : keys) {
                std::vector<std::string> alone = {head[0], head[1]};
                if (word == "numpkts" || word == "timeout") alone.push_back("host=a");
                if (word == "ipversion") alone.push_back("ip=10.0.0.1");
                if (word == "ofedpkg") alone.push_back("ofedpath=OFED");
                if (word == "x4vlanval") alone.push_back("x4vlan=insert");
                if (word == "num_vf") alone.push_back("drvname=a");
                if (head[1] == "maxfilters" || head[1] == "mtu")
                    alone.insert(alone.begin() + 2, "set");
                alone.push_back(word + "=" + ValueFor(word, takes));
                EXPECT_EQ(NotesOn(os_type, alone).find(word + "="), std::string::npos)
                    << +os_type << line << NotesOn(os_type, alone);
                ++compared;
            }
            for (const std::string& word : words) {
                if (keys.contains(word)) continue;
                std::vector<std::string> alone = {head[0], head[1], word + "=1"};
                if (head[1] == "maxfilters" || head[1] == "mtu")
                    alone.insert(alone.begin() + 2, "set");
                EXPECT_NE(NotesOn(os_type, alone).find(word), std::string::npos)
                    << +os_type << line << word;
            }
        }
    }
    EXPECT_GT(compared, 500u);
}

TEST(ArgumentNotes, SayWhatIsSentOtherwiseThanWritten) {
    const TemporaryFile package("x", "-KorvaneZwire");
    const TemporaryFile rule("dst port 1 => offload\n");
    const TemporaryFile rules("dst port 1 => offload; dst port 2 => offload\nvlan 3 => !offload");
    const Table<uint8_t, std::string, std::string> rows = {
        {2, "filter addx3 ifname=a sip=300.1.0.0", "sip=300.1.0.0 is sent as 44.1.0.0\n"},
        {2, "filter addx3 ifname=a sip=10.0.0.1/33",
         "sip=10.0.0.1/33: the length 33 is outside 0 to 32, and is sent as it is\n"},
        {2, "filter addx3 ifname=a sip=10.0.0.1/32", ""},
        {2, "filter addx3 ifname=a dip=1.1.1.1 dport=65535", ""},
        {2, "filter addx3 ifname=a dip=1.1.1.257 dport=65536",
         "dip=1.1.1.257 is sent as 1.1.1.1\n"
         "dport=65536: 65536 is outside 0 to 65535, and is sent as it is\n"},
        {2, "filter addx3 ifname=a prio=8", "prio=8: 8 is outside 0 to 7, and is sent as it is\n"},
        {2, "filter addx3 ifname=a queue=1 action=drop",
         "a rule without criteria matches every packet\n"},
        {2, "filter add pci=a x4action=drop x4queue=1",
         "a rule without criteria matches every packet\n"},
        {2, "filter add pci=a type=ipv4", ""},
        {2, "net ping host=a numpkts=255 timeout=2147483", ""},
        {2, "net ping host=a numpkts=256", "numpkts=256 is sent as 0\n"},
        {2, "net ping host=a numpkts=300 timeout=3", "numpkts=300 is sent as 44\n"},
        {2, "net ping host=a timeout=2147484", "timeout=2147484 is sent as -2147483296 ms\n"},
        {2, "korvane setportproperty pci=1 port=0 ringrx=0x12345",
         "ringrx=0x12345 is sent as 9029\n"},
        {2, "korvane setportproperty pci=1 port=0 ringrx=65535", ""},
        {2, "korvane setcardproperty pci=1 txcoalesce=257", "txcoalesce=257 is sent as 1\n"},
        {2, "korvane setcardproperty pci=1 mss=-1", "mss=-1 is sent as 4294967295\n"},
        {2, "korvane setportproperty pci=1 port=0 rx_pause=1",
         "rx_pause=1 means another key to this agent\n"},
        {3, "korvane setportproperty pci=1 port=0 rx_pause=1", ""},
        {2, "system loaddriver drvname=a num_vf=3", "num_vf=3 has no effect on this agent\n"},
        {8, "system loaddriver drvname=a num_vf=3", ""},
        {2, "system install type=nic zwirepath=" + package.Path(), ""},
        {2, "system install type=nic,tow zwirepath=" + package.Path(),
         "type=nic,tow: tow is no type, and left out\n"},
        {2, "tm add ifname=a policy=@" + rule.Path(), ""},
        {2, "tm add ifname=a policy=@" + rules.Path(),
         "policy=@" + rules.Path() + ": the first rule is sent, 2 more are not\n"},
    };
    for (const auto& [os_type, line, notes] : rows) {
        EXPECT_EQ(NotesOn(os_type, Split(line, " ")), notes) << line;
    }
}

TEST(ArgumentNotes, SayWhatARefusedEntryMayBe) {
    const Table<uint8_t, std::string, std::string> rows = {
        {2, "korvane setportproperty pci=1 port=0 txcksum=01",
         "txcksum=01: expected one digit, 0 or 1\n"},
        {1, "korvane setportproperty pci=1 port=0 queues=128",
         "queues=128: expected a number of at most 2 characters\n"},
        {1, "korvane setportproperty pci=1 port=0 mss=1",
         "mss=1: not a key of this command, which takes what \"help korvane setportproperty\" "
         "lists\n"},
        {2, "korvane listports pci=01234567890123456",
         "pci=01234567890123456: expected a PCI bus location of at most 16 characters\n"},
        {2, "korvane getcardstats pci=1 mtu=2",
         "mtu=2: not a key of this command, which takes pci\n"},
        {2, "korvane getportstats pci=01234567890123456 port=0",
         "pci=01234567890123456: expected a PCI bus location of at most 16 characters\n"},
        {2, "korvane getportstats port=99999999999",
         "port=99999999999: expected a number from 0\n"},
        {2, "korvane listports", ""},
        {2, "system unloaddriver num_vf=1",
         "num_vf=1: not a key of this command, which takes drvname\n"},
        {2, "system install conftype=6", "conftype=6: expected 0 to 5\n"},
        {2, "filter add pci=1 tos=0x", "tos=0x: expected number[:mask] of 8 bits\n"},
        {2, "filter addx3 ifname=a vlanid=4095", "vlanid=4095: expected 1 to 4094\n"},
        {2, "filter maxfilters get ifname=a sip=10.0.0.1",
         "sip=10.0.0.1: not a key of this command, which takes ifname, max\n"},
        {2, "tm add ifname=a policy=rubbish", "policy=rubbish: it does not compile\n"},
        {2, "tm add ifname=a policy=@/no/such/file",
         "policy=@/no/such/file: cannot read /no/such/file: there is no such file\n"},
        {2, "tm add ifname=a policy=#", "policy=#: there is no rule in it\n"},
        {2, "system loaddriver", "system loaddriver takes drvname=NAME [num_vf=COUNT]\n"},
        {2, "system install type=nic zwirepath=no-such-KorvaneZwire",
         "zwirepath=no-such-KorvaneZwire: this file cannot be sent\n"},
        {2, "net ping host=a numpkts=x", "numpkts=x: expected 1 to 255\n"},
        {2, "net mtu set mtu=655356", "mtu=655356: expected 1 to 655355 bytes\n"},
        {2, "korvane flashrom", "this version does not have \"korvane flashrom\"\n"},
    };
    for (const auto& [os_type, line, notes] : rows) {
        EXPECT_EQ(NotesOn(os_type, Split(line, " ")), "refused\n" + notes) << line;
    }
    EXPECT_EQ(NotesOn(kXen, {"net", "traceroute", "host=a"}), "") << "the agent lacks the command";
}

TEST(ArgumentNotes, GoToStandardError) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    const Table<std::string, int, std::string, std::string> rows = {
        {"filter addx3 ifname=eth2 sip=300.1.0.0", 0, "Successful\n",
         "warning: sip=300.1.0.0 is sent as 44.1.0.0\n"},
        {"korvane setportproperty pci=0000:05:00.4 port=0 txcksum=01", 2,
         "Invalid value specified\n", "txcksum=01: expected one digit, 0 or 1\n"},
        {"korvane setportproperty pci=0000:05:00.4 txcksum=1", 2, "please specify portinstance\n",
         ""},
    };
    for (const auto& [line, exit_status, out, err] : rows) {
        const ProcessResult run = Zwcli(agent.Port(), Split(line, " "));
        EXPECT_EQ(run.exit_status, exit_status);
        EXPECT_EQ(run.out, out);
        EXPECT_EQ(run.err, err.empty() ? "" : "korvane_zwcli: " + err);
    }
}
