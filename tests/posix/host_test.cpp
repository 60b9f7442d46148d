/// What the machine tells of itself.
#include "platform/host.h"

#include <stdlib.h>

#include <fstream>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

bool CredentialsPath(char* path, size_t capacity) {
    return platform::UserFilePath("credentials", path, capacity);
}

}  // namespace

TEST(Host, PathsAreWholeOrNone) {
    char path[4096];
    for (const auto path_of : {CredentialsPath, platform::CertificatePath}) {
        ASSERT_TRUE(path_of(path, sizeof(path)));
        const std::string whole = path;
        EXPECT_TRUE(path_of(path, whole.size() + 1));
        EXPECT_EQ(path, whole);
        EXPECT_FALSE(path_of(path, whole.size()));
    }
}

TEST(Host, AnEmptyHomeIsNone) {
    const char* usual = getenv("HOME");
    const std::string home = usual != nullptr ? usual : "";
    char without[4096], empty[4096];
    unsetenv("HOME");
    ASSERT_TRUE(CredentialsPath(without, sizeof(without)));
    setenv("HOME", "", 1);
    ASSERT_TRUE(CredentialsPath(empty, sizeof(empty)));
    EXPECT_STREQ(empty, without);
    setenv("HOME", home.c_str(), 1);
}

TEST(Host, TheUsersTrustStoreIsFound) {
    const std::filesystem::path home = std::filesystem::path(testing::TempDir()) / "trusting";
    const std::filesystem::path folder = home / ".config/korvane";
    std::filesystem::create_directories(folder);
    const std::string store = (folder / "agents.pem").string();
    const auto connect = [&] {
        return RunProcess({"/usr/bin/env", "HOME=" + home.string(), ZWCLI_PATH, "--verify", "ca",
                           "--port", "1", "system", "listdrivers"});
    };
    std::ofstream(store) << "no certificate\n";
    const ProcessResult wrong = connect();
    std::filesystem::remove(store);
    std::filesystem::create_symlink(home / "nowhere", store);
    const ProcessResult dangling = connect();
    std::filesystem::remove_all(home);
    for (const ProcessResult& run : {wrong, dangling}) {
        EXPECT_EQ(run.exit_status, 2);
        EXPECT_NE(run.err.find("cannot load " + store), run.err.npos) << run.err;
    }
}

TEST(Host, BothStreamsReachOnePlaceInOrder) {
    CannedHost host(agent::Reply{.status = 33, .data = {}});
    TestAgent agent(host);
    const std::string command = ZWCLI_PATH " --verify off 2>&1 korvane listadapterprops --port ";
    const ProcessResult run = RunProcess({"/bin/sh", "-c", command + std::to_string(agent.Port())});
    EXPECT_TRUE(
        run.out.ends_with("Command failed\nkorvane_zwcli: the agent answered: a status of "
                          "the agent's own (status 33)\n"))
        << run.out;
}
