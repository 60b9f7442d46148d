/// korvane_zwcli as operators and scripts see it: exit statuses and the two streams.
#include <map>

#include "tests/support.h"

using namespace testing_support;

namespace {

const std::vector<std::string> kList = {"korvane", "listadapterprops"};

std::vector<std::string> With(std::vector<std::string> options) {
    options.insert(options.end(), kList.begin(), kList.end());
    return options;
}

}  // namespace

/// A host that refuses everything but to tell its capabilities.
CannedHost Refusing(uint32_t status) {
    return CannedHost([status](uint8_t service, uint16_t, auto) {
        if (service != 5) return agent::Reply{.status = status, .data = {}};
        return agent::Reply{.status = 0, .data = BytesOf(BuiltinScenario("linux").capabilities)};
    });
}

/// tests/cases/command_lines.
TEST(FrontEnd, SaysWhatItMakesOfACommandLine) {
    zmsim::Scenario old = BuiltinScenario("linux"), silent = old;
    old.capabilities.api_version = 0x14;
    silent.tells_capabilities = false;
    CannedHost failing = Refusing(33), lacking = Refusing(412);
    SimulatedAgent linux_agent("linux"), windows_agent("windows"), old_agent(old);
    SimulatedAgent silent_agent(silent), tokenless_agent("linux", {.grant_token = false});
    TestAgent failing_agent(failing), lacking_agent(lacking);
    const std::map<std::string, uint16_t> ports = {
        {"", uint16_t{1}},
        {"linux", linux_agent.Port()},
        {"windows", windows_agent.Port()},
        {"old", old_agent.Port()},
        {"silent", silent_agent.Port()},
        {"tokenless", tokenless_agent.Port()},
        {"failing", failing_agent.Port()},
        {"lacking", lacking_agent.Port()},
    };
    const TemporaryFile rules("vlan 4 => sack\n"), bad("any => x");
    for (const auto& row : Cases("command_lines")) {
        const std::string line =
            Replaced(Replaced(row[1], "%rules", rules.Path()), "%bad", bad.Path());
        const ProcessResult run = Zwcli(ports.at(row[0]), Words(line));
        EXPECT_EQ(run.exit_status, Number(row[2])) << line;
        EXPECT_TRUE(row[3].ends_with("...")
                        ? run.out.starts_with(row[3].substr(0, row[3].size() - 3))
                        : run.out == row[3])
            << line << run.out;
        const std::string whole = row[4].empty() ? "" : "korvane_zwcli: " + row[4] + "\n";
        EXPECT_TRUE(row[4].starts_with("...") ? run.err.find(row[4].substr(3)) != run.err.npos
                                              : run.err == whole)
            << line << run.err;
    }
}

TEST(FrontEnd, SaysThatTheConnectionWasLost) {
    for (int served : {0, 1}) {  // requests answered before the agent goes
        RawAgent leaving([&](SSL* ssl) {
            AcceptOpening(ssl);
            ReadFrom(ssl, 26);
            if (served == 0) return;
            WriteTo(ssl, Reply(412));
            ReadFrom(ssl, 26);
        });
        const ProcessResult run = Zwcli(leaving.Port(), kList);
        EXPECT_EQ(run.exit_status, 3);
        EXPECT_EQ(run.out, served == 0 ? "" : "\nError reading from socket\n");
        EXPECT_NE(run.err.find(" lost: the connection was lost while reading (status 7)\n"),
                  std::string::npos)
            << run.err;
    }
}

TEST(FrontEnd, LogsInWithAPasswordFromAFileOrStandardInput) {
    SimulatedAgent agent("mac", {.login = agent::OneUser{"operator", "secret\x1aword"}});
    const TemporaryFile right("secret\x1aword\r\nsecond line\n");
    const TemporaryFile wrong("wrong\n");
    const TemporaryFile empty("\n");
    const TemporaryFile too_long(std::string(65, 'x') + '\n');
    const TemporaryFile longest(std::string(64, 'x') + "\r\n");
    const TemporaryFile nul(std::string("sec\0ret\n", 8));
    const TemporaryFile marked("\xEF\xBB\xBFsecret\n");
    const std::string denied = "Authentication failed, please check username or password";
    const Table<std::string, std::string, std::string, int, std::string> rows = {
        {"operator", right.Path(), "", 0, ""},
        {"operator", "-", "secret\x1aword", 0, ""},
        {"operator", wrong.Path(), "", 4, denied},
        {"Operator", right.Path(), "", 4, denied},
        {"operator", longest.Path(), "", 4, denied},
        {"operator", too_long.Path(), "", 2, "the password is longer than 64 bytes"},
        {"operator", "-", std::string(50'000, 'x'), 2, "the password is longer than 64 bytes"},
        {"operator", nul.Path(), "", 2, "the password holds a NUL character"},
        {"operator", marked.Path(), "", 2, "the password begins with a byte-order mark"},
        {"operator", empty.Path(), "", 2, "no password in the first line of " + empty.Path()},
        {"operator", "-", "", 2, "no password on standard input"},
        {"operator", "/no/such/file", "", 2,
         "cannot read password file /no/such/file: No such file or directory"},
        {std::string(256, 'u'), right.Path(), "", 4, denied},
        {std::string(257, 'u'), right.Path(), "", 2, "the user name is longer than 256 bytes"},
    };
    for (const auto& [user, file, input, exit_status, said] : rows) {
        const ProcessResult run =
            Zwcli(agent.Port(), With({"--user", user, "--password-file", file}), input);
        EXPECT_EQ(run.exit_status, exit_status) << file;
        EXPECT_TRUE(run.err.ends_with(said.empty() ? "" : "korvane_zwcli: " + said + "\n"))
            << run.err;
        EXPECT_EQ(run.out.empty(), exit_status != 0);
    }
}

TEST(FrontEnd, AsksForThePasswordOnATerminalOnly) {
    SimulatedAgent agent("mac", {.login = agent::OneUser{"operator", std::string(64, 'x')}});
    ProcessResult run = Zwcli(agent.Port(), With({"--user", "operator"}));
    EXPECT_EQ(run.exit_status, 4);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("there is no terminal to ask on; use --password-file"),
              std::string::npos);

    auto command =
        With({"--verify", "off", "--port", std::to_string(agent.Port()), "--user", "operator"});
    command.insert(command.begin(), ZWCLI_PATH);
    const std::string prompt = "Password of operator for 127.0.0.1: ";
    const std::string too_long = "the password is longer than 64 bytes";
    const Table<std::string, int, std::string> rows = {
        {std::string(64, 'x') + '\n', 0, "Adapter #"},
        {"wrong\n", 4, ""},
        {"\n", 4, "korvane_zwcli: no password given"},
        {"\x03", 130, ""},  // the interrupt key
        {std::string(65, 'x') + '\n', 4, too_long},
        {std::string(1'024, 'x') + '\n', 4, too_long},
        {std::string(3'000, 'x') + '\n', 4, too_long},
    };
    for (const auto& [keys, exit_status, shown] : rows) {
        run = RunOnTerminal(command, {{prompt, keys}});
        EXPECT_EQ(run.exit_status, exit_status) << run.out;
        EXPECT_NE(run.out.find(shown), std::string::npos) << run.out;
        EXPECT_EQ(run.out.find("xx"), std::string::npos) << "echoed";
    }
}

TEST(FrontEnd, TheOutcomeOfABackgroundCommandIsToldAndWaitedFor) {
    SimulatedAgent agent("linux");
    const auto run = [&](std::vector<std::string> words) { return Zwcli(agent.Port(), words); };
    const std::string nobody = "ip=192.0.2.1", somebody = "ip=10.0.0.7", ipv4 = "ipversion=ipv4";
    for (const std::string probe : {"ping", "traceroute"}) {
        EXPECT_EQ(run({"net", probe, nobody, ipv4}).exit_status, 0);
        EXPECT_EQ(run({"net", probe, nobody, ipv4}).exit_status, 1) << "busy with the first";
        EXPECT_EQ(run({"net", probe, "getresult"}).exit_status, 6) << "not finished yet";
        EXPECT_EQ(run({"net", probe, "getresult"}).exit_status, 1) << "not reached";
        EXPECT_EQ(run({"--wait", "net", probe, nobody, ipv4}).exit_status, 1);
        const ProcessResult waited = run({"--wait", "net", probe, somebody, ipv4});
        EXPECT_EQ(waited.exit_status, 0);
        EXPECT_EQ(waited.err, "");
        EXPECT_NE(waited.out.find(probe == "ping" ? "received = 4" : "Trace success"),
                  std::string::npos);
        EXPECT_EQ(waited.out.find("already running"), std::string::npos) << waited.out;
        EXPECT_EQ(run({"net", probe, somebody, ipv4}).exit_status, 0);
        EXPECT_EQ(run({"--wait", "net", probe, "getresult"}).exit_status, 0);
    }
    EXPECT_EQ(run({"--wait", "system", "getinstallresult"}).exit_status, 1) << "never begun";
}

TEST(FrontEnd, AListingThatCannotBeWrittenIsAFailure) {
    SimulatedAgent agent("linux");
    // The second says more on standard error, behind what it could not write.
    for (const char* words : {" korvane listadapterprops", " net ping getresult"}) {
        const auto command =
            Words(ZWCLI_PATH " --verify off --port " + std::to_string(agent.Port()) + words);
        const ProcessResult run = RunProcess(command, "", false);
        EXPECT_EQ(run.exit_status, 1);
        EXPECT_TRUE(run.err.ends_with("korvane_zwcli: cannot write to standard output\n"));
    }
}
