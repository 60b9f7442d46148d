/// Names with several addresses, and addresses that stay silent: what takes a system that lets a
/// test arrange it.
#include <sys/socket.h>

#include "session/race.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

TEST(Names, OfSeveralAddressesLeadToTheOneThatAnswers) {
    const TemporaryFile hosts("::1 twofold\n127.0.0.1 twofold\n127.0.0.2 twofold\n");
    const auto run = [&](std::vector<std::string> words) {
        // In a view of the file system of its own, where the names are the test's.
        words.insert(words.begin(),
                     {"/usr/bin/unshare", "-rm", "/bin/sh", "-c",
                      "mount --bind \"$0\" /etc/hosts && exec \"$@\"", hosts.Path()});
        return RunProcess(words);
    };
    if (run({"/usr/bin/getent", "ahosts", "twofold"}).out.find("::1") != 0) {
        GTEST_SKIP() << "names cannot be arranged here";
    }
    CannedHost host;
    for (const char* address : {"::1", "127.0.0.1", "127.0.0.2"}) {
        TestAgent agent(host, {.listen = {address}});
        const std::string name = "twofold:" + std::to_string(agent.Port());
        const std::vector<std::string> words = {ZWCLI_PATH, "--verify", "off",        "--host",
                                                name,       "system",   "listdrivers"};
        EXPECT_EQ(run(words).exit_status, 0) << address;
        agent.Stop();
        const ProcessResult refused = run(words);
        EXPECT_EQ(refused.exit_status, 3);
        EXPECT_NE(refused.err.find(": ::1: Connection refused; 127.0.0.1: Connection refused; "
                                   "127.0.0.2: Connection refused (status 268)\n"),
                  std::string::npos)
            << refused.err;
    }
}

TEST(Race, GoesOnBesideASilentAddress) {
    const platform::Address both[] = {platform::kIpv4Loopback, platform::kIpv6Loopback};
    uint16_t port = 0;
    const auto silent = platform::Listen(both[0], &port);
    const auto listener = platform::Listen(both[1], &port);
    if (listener == platform::kNoSocket) GTEST_SKIP() << "this machine has no IPv6 for it";
    // Who has room for one client and has him answers nobody.
    ASSERT_EQ(listen(static_cast<int>(silent), 0), 0);
    constexpr platform::Milliseconds kLongEnough(60'000);
    const auto client = ConnectionRace({both, 1}, port).Run(kLongEnough);

    ConnectionRace patient(both, port), hasty(both, port);
    const auto connected = patient.Run(kLongEnough);
    EXPECT_EQ(patient.Winner(), both[1]);
    EXPECT_EQ(hasty.Run(platform::Milliseconds(50)), platform::kNoSocket);
    FailureDetail detail;
    hasty.Explain("twofold", &detail);
    EXPECT_STREQ(detail.text, "127.0.0.1: no answer in time; ::1: not tried in time");
    for (const auto socket : {silent, listener, client, connected}) platform::CloseSocket(socket);
}
