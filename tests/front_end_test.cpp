/// korvane_zwcli as operators and scripts see it: exit statuses and the two streams.
#include "tests/support.h"

using namespace testing_support;

namespace {

agent::Options WithLogin() {
    agent::Options options;
    options.login = agent::OneUser{"operator", "secret\x1aword"};
    return options;
}

const std::vector<std::string> kList = {"korvane", "listadapterprops"};

std::vector<std::string> With(std::vector<std::string> options) {
    options.insert(options.end(), kList.begin(), kList.end());
    return options;
}

}  // namespace

/// tests/cases/command_lines.
TEST(FrontEnd, SaysWhatItMakesOfACommandLine) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    for (const auto& row : Cases("command_lines")) {
        const std::string& line = row[1];
        const ProcessResult run =
            Zwcli(row[0] == "linux" ? agent.Port() : uint16_t{1}, Words(line));
        EXPECT_EQ(run.exit_status, Number(row[2])) << line;
        EXPECT_TRUE(row[3] == run.out || row[3] == "...") << line << run.out;
        const std::string whole = row[4].empty() ? "" : "korvane_zwcli: " + row[4] + "\n";
        EXPECT_TRUE(row[4].starts_with("...") ? run.err.find(row[4].substr(3)) != run.err.npos
                                              : run.err == whole)
            << line << run.err;
    }
}

TEST(FrontEnd, SaysWhatFailedWhenThereIsNoSession) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    agent::Options options;
    options.grant_token = false;
    TestAgent agent(host, options);
    ProcessResult run = Zwcli(agent.Port(), kList);
    EXPECT_EQ(run.exit_status, 3);
    EXPECT_EQ(run.err, "korvane_zwcli: No read write token available\n");

    for (int served : {0, 1}) {  // requests answered before the agent goes
        RawAgent leaving([&](SSL* ssl) {
            AcceptOpening(ssl);
            ReadFrom(ssl, 26);
            if (served == 0) return;
            _Message refusal = {};
            refusal.status = 412;
            WriteTo(ssl, Message(refusal));
            ReadFrom(ssl, 26);
        });
        run = Zwcli(leaving.Port(), kList);
        EXPECT_EQ(run.exit_status, 3);
        EXPECT_EQ(run.out, served == 0 ? "" : "\nError reading from socket\n");
        EXPECT_NE(run.err.find(" lost: the connection was lost while reading (status 7)\n"),
                  std::string::npos)
            << run.err;
    }
}

TEST(FrontEnd, LogsInWithAPasswordFromAFileOrStandardInput) {
    zmsim::ScenarioHost host(BuiltinScenario("mac"));
    TestAgent agent(host, WithLogin());
    const TemporaryFile right("secret\x1aword\r\nsecond line\n");
    const TemporaryFile wrong("wrong\n");
    const TemporaryFile empty("\n");
    const TemporaryFile too_long(std::string(65, 'x') + '\n');
    const TemporaryFile longest(std::string(64, 'x') + "\r\n");
    const TemporaryFile nul(std::string("sec\0ret\n", 8));
    const TemporaryFile marked("\xEF\xBB\xBFsecret\n");
    const std::string denied =
        "korvane_zwcli: Authentication failed, please check username or password\n";
    const Table<std::string, std::string, std::string, int, std::string> rows = {
        {"operator", right.Path(), "", 0, ""},
        {"operator", "-", "secret\x1aword", 0, ""},
        {"operator", wrong.Path(), "", 4, denied},
        {"Operator", right.Path(), "", 4, denied},
        {"operator", longest.Path(), "", 4, denied},
        {"operator", too_long.Path(), "", 2,
         "korvane_zwcli: the password is longer than 64 bytes\n"},
        {"operator", "-", std::string(50'000, 'x'), 2,
         "korvane_zwcli: the password is longer than 64 bytes\n"},
        {"operator", nul.Path(), "", 2, "korvane_zwcli: the password holds a NUL character\n"},
        {"operator", marked.Path(), "", 2,
         "korvane_zwcli: the password begins with a byte-order mark\n"},
        {"operator", empty.Path(), "", 2,
         "korvane_zwcli: no password in the first line of " + empty.Path() + "\n"},
        {"operator", "-", "", 2, "korvane_zwcli: no password on standard input\n"},
        {"operator", "/no/such/file", "", 2,
         "korvane_zwcli: cannot read password file /no/such/file: No such file or directory\n"},
        {std::string(256, 'u'), right.Path(), "", 4, denied},
        {std::string(257, 'u'), right.Path(), "", 2,
         "korvane_zwcli: the user name is longer than 256 bytes\n"},
    };
    for (const auto& [user, file, input, exit_status, said] : rows) {
        const ProcessResult run =
            Zwcli(agent.Port(), With({"--user", user, "--password-file", file}), input);
        EXPECT_EQ(run.exit_status, exit_status) << file;
        EXPECT_TRUE(run.err.ends_with(said)) << run.err;
        EXPECT_EQ(run.out.empty(), exit_status != 0);
    }
}

TEST(FrontEnd, AsksForThePasswordOnATerminalOnly) {
    zmsim::ScenarioHost host(BuiltinScenario("mac"));
    agent::Options options;
    options.login = agent::OneUser{"operator", std::string(64, 'x')};
    TestAgent agent(host, options);
    ProcessResult run = Zwcli(agent.Port(), With({"--user", "operator"}));
    EXPECT_EQ(run.exit_status, 4);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("there is no terminal to ask on; use --password-file"),
              std::string::npos);

    std::vector<std::string> command = {
        ZWCLI_PATH, "--verify", "off",    "--port", std::to_string(agent.Port()),
        "--user",   "operator", kList[0], kList[1]};
    const std::string prompt = "Password of operator for 127.0.0.1: ";
    run = RunOnTerminal(command, prompt, std::string(64, 'x') + '\n');
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_NE(run.out.find("Adapter #"), std::string::npos);
    EXPECT_EQ(run.out.find("xx"), std::string::npos) << "echoed";
    EXPECT_EQ(RunOnTerminal(command, prompt, "wrong\n").exit_status, 4);
    run = RunOnTerminal(command, prompt, "\n");
    EXPECT_EQ(run.exit_status, 4);
    EXPECT_NE(run.out.find("korvane_zwcli: no password given"), std::string::npos) << run.out;
    EXPECT_EQ(RunOnTerminal(command, prompt, "\x03").exit_status, 130) << "interrupt key";
    for (const size_t length : {65, 1'024, 3'000}) {
        run = RunOnTerminal(command, prompt, std::string(length, 'x') + '\n');
        EXPECT_EQ(run.exit_status, 4);
        EXPECT_NE(run.out.find("the password is longer than 64 bytes"), std::string::npos);
    }
}

TEST(FrontEnd, TheLastOptionCounts) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    const std::string port = std::to_string(agent.Port());
    EXPECT_EQ(Zwcli(1, With({"--port", port, "--user", "a", "--user=b"})).exit_status, 0);
}

TEST(FrontEnd, TheOutcomeOfABackgroundCommandIsToldAndWaitedFor) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
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

TEST(FrontEnd, TellsWhatTheAgentDoesNotSupport) {
    // Filters are for Linux agents: refused before the missing handler is noticed.
    zmsim::ScenarioHost windows(BuiltinScenario("windows"));
    TestAgent agent(windows);
    ProcessResult run = Zwcli(agent.Port(), {"filter", "showactivecomb"});
    EXPECT_EQ(run.exit_status, 5);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "korvane_zwcli: Error: Filter service is not available on Server\n");

    run = Zwcli(agent.Port(), {"korvane", "flashrom"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.out, "Invalid command for the service\n");
    EXPECT_EQ(run.err, "korvane_zwcli: this version does not have \"korvane flashrom\"\n");

    zmsim::Scenario old = BuiltinScenario("linux");
    old.capabilities.api_version = 0x14;
    zmsim::ScenarioHost old_host(old);
    TestAgent old_agent(old_host);
    run = Zwcli(old_agent.Port(), kList);
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_TRUE(run.out.starts_with("Warning: Server API version 1.4 doesn't match"));
    run = Zwcli(old_agent.Port(), {"hyperv", "getvms"});
    EXPECT_EQ(run.exit_status, 5);
    EXPECT_EQ(run.err, "korvane_zwcli: Error: Unsupported Service 12\n");

    zmsim::Scenario silent = BuiltinScenario("linux");
    silent.tells_capabilities = false;
    zmsim::ScenarioHost silent_host(silent);
    TestAgent silent_agent(silent_host);
    run = Zwcli(silent_agent.Port(), kList);
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_TRUE(run.out.starts_with("Adapter #"));
    EXPECT_EQ(run.err,
              "korvane_zwcli: warning: the agent refused to tell its capabilities "
              "(status 412); compatibility is not checked\n");
}

TEST(FrontEnd, AFailureOnTheAgentIsAFailure) {
    const Table<uint32_t, int, const char*, const char*> rows = {
        {33, 1, "Command failed\n",
         "korvane_zwcli: the agent answered: a status of the agent's own (status 33)\n"},
        {412, 5, "", "The Command is not supported by the server.\n"},
    };
    for (const auto& [status, exit_status, out, err] : rows) {
        CannedHost host([&](uint8_t service, uint16_t, auto) {
            Capabilities capabilities = BuiltinScenario("linux").capabilities;
            const auto* bytes = reinterpret_cast<const uint8_t*>(&capabilities);
            return service == 5 ? agent::Reply{.status = 0, .data = {bytes, bytes + 33}}
                                : agent::Reply{.status = status, .data = {}};
        });
        TestAgent agent(host);
        const ProcessResult run = Zwcli(agent.Port(), kList);
        EXPECT_EQ(run.exit_status, exit_status);
        EXPECT_EQ(run.out, out);
        EXPECT_EQ(run.err, err);
    }
}

TEST(FrontEnd, AListingThatCannotBeWrittenIsAFailure) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    // The second says more on standard error, behind what it could not write.
    for (const char* words : {"korvane listadapterprops", "net ping getresult"}) {
        std::vector<std::string> command = {ZWCLI_PATH, "--verify", "off", "--port",
                                            std::to_string(agent.Port())};
        for (const std::string& word : Words(words)) command.push_back(word);
        const ProcessResult run = RunWithoutOutput(command);
        EXPECT_EQ(run.exit_status, 1);
        EXPECT_TRUE(run.err.ends_with("korvane_zwcli: cannot write to standard output\n"));
    }
}
