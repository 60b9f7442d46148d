/// The credentials file, as korvane_zwcli uses it before it asks for a password.
#include "tests/support.h"

using namespace testing_support;

TEST(Credentials, AreUsedBeforeAsking) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host, {.login = agent::OneUser{"keeper", "secret"}});
    const CredentialsHome home;
    const std::string warning =
        "korvane_zwcli: warning: other users can read " + home.credentials.string() + "\n";
    const std::string asked =
        "korvane_zwcli: the agent asks for a password, and there is no terminal to ask on; use "
        "--password-file\n";
    const std::string denied =
        "korvane_zwcli: Authentication failed, please check username or password\n";
    constexpr bool kPrivate = false;
    constexpr bool kShared = true;
    const auto run_front_end = [&] {
        const std::string words = " --verify off --user keeper system listdrivers --port ";
        return RunProcess(home.Within(Words(ZWCLI_PATH + words + std::to_string(agent.Port()))));
    };
    const Table<std::string, bool, int, std::string> rows = {
        {"keeper secret\n", kPrivate, 0, ""},
        {"other x\n\n\tkeeper\n  secret", kPrivate, 0, ""},
        {"keeper secret keeper wrong", kShared, 0, warning},
        {"keeper wrong\nkeeper@127.0.0.1 secret\nkeeper@node7 wrong", kPrivate, 0, ""},
        {"keeper secret\nkeeper@127.0.0.1 wrong", kPrivate, 4, denied},
        {"keeper wrong\n", kPrivate, 4, denied},
        {std::string(256, 'u') + " x keeper secret", kPrivate, 0, ""},
        {"Keeper secret\n", kPrivate, 4, asked},
        {"", kPrivate, 4, asked},
        {"keeper", kPrivate, 4, asked},
        {"secret keeper\n", kPrivate, 4, asked},
        {std::string(300, 'u') + " x keeper secret", kPrivate, 0, ""},
        {"keeper " + std::string(65, 'x'), kPrivate, 4,
         "korvane_zwcli: the password of keeper in " + home.credentials.string() +
             " is longer than 64 bytes\n"},
    };
    for (const auto& [text, shared, exit_status, said] : rows) {
        home.Write(text, shared);
        const ProcessResult run = run_front_end();
        EXPECT_EQ(run.exit_status, exit_status) << text;
        EXPECT_EQ(WithoutWarning(run.err), said) << text;
    }
    home.Write("secret\n", kShared);
    EXPECT_EQ(Zwcli(agent.Port(), {"--user", "keeper", "--password-file", home.credentials.string(),
                                   "system", "listdrivers"})
                  .err,
              warning);
    std::filesystem::remove(home.credentials);
    EXPECT_EQ(WithoutWarning(run_front_end().err), asked);
}
