/// The prompt at which commands are typed.
#include "tests/support.h"

using namespace testing_support;

namespace {

const std::string kList = "filter listadapters\n";
const std::string kSet = "net mtu set ifname=eth2 mtu=9000\n";

std::vector<std::string> Shell(uint16_t port, const std::string& options = "") {
    std::vector<std::string> words =
        Words(ZWCLI_PATH " --verify off --user operator --shell --host localhost:");
    words.back() += std::to_string(port);
    for (const std::string& option : Words(options)) words.push_back(option);
    return words;
}

std::string Prompt(uint16_t port) { return "localhost:" + std::to_string(port) + "> "; }

size_t CountOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) ++count;
    return count;
}

}  // namespace

TEST(Shell, TakesCommandsUntilItIsLeft) {
    SimulatedAgent agent("linux", {.login = agent::OneUser{"operator", "secret"}});
    const std::string prompt = Prompt(agent.Port());
    const ProcessResult run =
        RunOnTerminal(Shell(agent.Port()), {{"Password of operator for localhost: ", "secret\n"},
                                            {prompt, kList},
                                            {prompt, "nat mtu\n"},
                                            {prompt, "--host a net mtu # no\n"},
                                            {prompt, "net mtu set ifname=none mtu=9000\n"},
                                            {prompt, "net mtu set 'ifname=eth2\n"},
                                            {prompt, "? tm list\n"},
                                            {prompt, "QUIT\n"}});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    for (const char* said :
         {"0000:82:00.4", "unknown service \"nat\"", "--host: options stand",
          "no such card or port (status 97)", "has no end", "Example: tm list"}) {
        EXPECT_NE(run.out.find(said), std::string::npos) << said << run.out;
    }
    EXPECT_EQ(run.out.find("secret"), std::string::npos);
    const ProcessResult refused =
        RunOnTerminal(Shell(agent.Port()), {{"Password of operator for ", "wrong\n"}});
    EXPECT_EQ(refused.exit_status, 4) << refused.out;
}

TEST(Shell, LogsInAnewOnceTheSessionIsLost) {
    // Opening, login, capabilities and a command; then a session ends within the next answer.
    const size_t served = 4 * sizeof(_Message) + sizeof(Capabilities);
    SimulatedAgent agent("linux", {.login = agent::OneUser{"operator", "secret"},
                                   .wrap = zmsim::WithFaults({.cut_after = served + 1})});
    const std::string prompt = Prompt(agent.Port());
    const ProcessResult run =
        RunOnTerminal(Shell(agent.Port()), {{"Password of operator for localhost: ", "secret\n"},
                                            {prompt, kSet},
                                            {prompt, kSet},
                                            {prompt, kSet},
                                            {prompt, "exit\n"}});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    EXPECT_EQ(CountOf(run.out, "Successful"), 2u) << run.out;
    EXPECT_EQ(CountOf(run.out, "connection to localhost port"), 1u) << run.out;
    EXPECT_EQ(CountOf(run.out, "Password of"), 1u) << run.out;
}
