/// What a person's keys do at the shell's prompt.
#include <filesystem>
#include <fstream>
#include <future>

#include "tests/support.h"

using namespace testing_support;

namespace {

struct ShellAtHome {
    CredentialsHome home;
    std::filesystem::path history = home.credentials.parent_path().parent_path().parent_path() /
                                    ".local/state/korvane/zwcli_history";

    ProcessResult Run(uint16_t port, const std::vector<Typed>& typed) const {
        const std::string options = " --verify off --user operator --shell --port ";
        std::vector<std::string> words = Words(ZWCLI_PATH + options + std::to_string(port));
        words.insert(words.begin(), {"/usr/bin/env", "-u", "XDG_STATE_HOME", "TERM=xterm"});
        return RunOnTerminal(home.Within(words), typed);
    }
    std::string Kept() const { return ContentOf(history); }
};

const std::string kPrompt = "127.0.0.1> ";
const std::string kGivenUp = "^C\r\n" + kPrompt;

}  // namespace

TEST(LineEditor, CompletesAndKeepsWhatWasTyped) {
    SimulatedAgent agent("linux", {.login = agent::OneUser{"operator", "secret"}});
    const ShellAtHome shell;
    ProcessResult run = shell.Run(agent.Port(), {{"Password", "secret\n"},
                                                 {kPrompt, "fil\tlist p\t82\x15"},
                                                 {"82", "fil\tlist p\t0000:8\tsh\tal\t\n"},
                                                 {kPrompt, " system listdrivers\n"},
                                                 {kPrompt, "korvane listports pci=\t0"},
                                                 {"0000:0", "\x03"},
                                                 {kGivenUp, "net mtu set mtu=9000 ifname=eth\t"},
                                                 {"ifname=eth7", "\x03"},
                                                 {kGivenUp, "sys\t"},
                                                 {"tem ", "\x15\x04"}});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    EXPECT_NE(run.out.find("There are no filters to list"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("ifname=eth2  ifname=eth3"), std::string::npos) << run.out;
    EXPECT_EQ(shell.Kept(), "filter list pci=0000:82:00.4 show=all \n");
    using std::filesystem::perms;
    EXPECT_EQ(status(shell.history).permissions(), perms(0600));
    EXPECT_EQ(status(shell.history.parent_path()).permissions(), perms(0700));

    std::ofstream(shell.history) << std::string(3000, '\n') << "net mtu\n";
    run = shell.Run(agent.Port(),
                    {{"Password", "secret\n"}, {kPrompt, "\x1b[A\n"}, {kPrompt, "exit\n"}});
    EXPECT_EQ(shell.Kept(), std::string(999, '\n') + "net mtu\nexit\n") << run.out;
    std::filesystem::remove(shell.history);
    std::filesystem::create_directory(shell.history);
    run = shell.Run(agent.Port(), {{"Password", "secret\n"}, {kPrompt, "exit\n"}});
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_NE(run.out.find("lines are not kept: "), std::string::npos) << run.out;
}

TEST(LineEditor, CtrlCEndsTheLineOrTheCommand) {
    std::promise<void> is_asked, is_over;
    SimulatedAgent well("linux");
    std::atomic<bool> is_first = true;
    CannedHost host([&](auto service, auto opcode, auto data) {
        if (opcode == zwmgmt::kListDrivers && is_first.exchange(false)) {
            is_asked.set_value();
            is_over.get_future().wait();
        }
        return well.host.Answer(service, opcode, data);
    });
    TestAgent agent(host);
    const ShellAtHome shell;
    const ProcessResult run =
        shell.Run(agent.Port(), {{kPrompt, "sys\t"},
                                 {"tem ", "\x03"},
                                 {kGivenUp, "system listdrivers\n"},
                                 {"\n", "\x03", [&] { is_asked.get_future().wait(); }},
                                 {kPrompt, "system listdrivers\n", [&] { is_over.set_value(); }},
                                 {kPrompt, "exit\n"}});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    EXPECT_EQ(run.out.find("unknown"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("korvane_zwcli: interrupted"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("kxgb3"), std::string::npos) << run.out;
}
