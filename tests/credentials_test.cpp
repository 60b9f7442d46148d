/// The credentials file, as korvane_zwcli uses it before it asks for a password.
#include <filesystem>
#include <fstream>

#include "tests/support.h"

using namespace testing_support;

namespace {

/// A home of its own for the front end.
class Home {
  public:
    Home()
        : path(std::filesystem::temp_directory_path() /
               ("zwmgmt-home-" + std::to_string(OwnProcessId()))),
          credentials(path / ".config/korvane/credentials") {
        std::filesystem::create_directories(credentials.parent_path());
    }
    ~Home() { std::filesystem::remove_all(path); }

    void Write(const std::string& text, std::filesystem::perms mode) const {
        std::ofstream(credentials, std::ios::binary) << text;
        std::filesystem::permissions(credentials, mode);
    }

    ProcessResult Zwcli(uint16_t port) const {
        return RunProcess({"/usr/bin/env", "LD_PRELOAD=" FAKE_HOME,
                           "ASAN_OPTIONS=verify_asan_link_order=0",
                           "ZWMGMT_TEST_HOME=" + path.string(), ZWCLI_PATH, "--port",
                           std::to_string(port), "--user", "operator", "system", "listdrivers"});
    }

    const std::filesystem::path path;
    const std::filesystem::path credentials;
};

}  // namespace

TEST(Credentials, AreUsedBeforeAsking) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    zmsim::AgentOptions options;
    options.login = {"operator", "secret"};
    TestAgent agent(host, options);
    const Home home;
    const std::string warning =
        "korvane_zwcli: warning: other users can read " + home.credentials.string() + "\n";
    const std::string asked =
        "korvane_zwcli: the agent asks for a password, and there is no terminal to ask on; use "
        "--password-file\n";
    const std::string denied =
        "korvane_zwcli: Authentication failed, please check username or password\n";
    constexpr auto kPrivate = std::filesystem::perms{0600};
    constexpr auto kShared = std::filesystem::perms{0640};
    // clang-format off
    const Table<std::string, std::filesystem::perms, int, std::string> rows = {
        {"operator secret\n", kPrivate, 0, ""}, {"other x\n\n\toperator\n  secret", kPrivate, 0, ""},
        {"operator secret operator wrong", kShared, 0, warning}, {"operator wrong\n", kPrivate, 4, denied},
        {"Operator secret\n", kPrivate, 4, asked}, {"", kPrivate, 4, asked}, {"operator", kPrivate, 4, asked},
        {"secret operator\n", kPrivate, 4, asked}, {std::string(300, 'u') + " x operator secret", kPrivate, 0, ""},
        {"operator " + std::string(65, 'x'), kPrivate, 4, asked},
    };
    // clang-format on
    for (const auto& [text, mode, exit_status, said] : rows) {
        home.Write(text, mode);
        const ProcessResult run = home.Zwcli(agent.Port());
        EXPECT_EQ(run.exit_status, exit_status) << text;
        EXPECT_EQ(run.err, said) << text;
    }
    std::filesystem::remove(home.credentials);
    EXPECT_EQ(home.Zwcli(agent.Port()).err, asked);
}
