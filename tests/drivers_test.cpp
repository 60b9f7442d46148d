/// Loading, unloading and installing drivers: requests, outcomes, and what is checked before a
/// package is sent.
#include <filesystem>
#include <fstream>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

TEST(Install, OptionsAreChecked) {
    for (const auto& row : Cases("install")) {
        const auto before = Words(row[0]), after = Words(row[3]), options = Words(row[1]);
        const std::string what = row[0] + ' ' + row[1];
        std::vector<Client_Request_Argument> arguments = {{"", -1}};
        for (const std::string& option : options) {
            const size_t sign = option.find('=');
            const std::string key = option.substr(0, sign);
            arguments.push_back(
                {option.c_str() + sign + 1, ZwMgmt_interface::CLGetKeyNo(key.c_str(), kSystem)});
        }
        if (options.empty()) arguments.clear();
        Client_Request_Message request = {kSystem, kInstall, 0, arguments.data(),
                                          static_cast<uint32_t>(arguments.size())};
        TestSession& session = SessionOf(Number(before[0]));
        int takes_iscsi_or_ofed = 0, paths = 0, generation = Number(before[1]);
        uint32_t types = 0;
        EXPECT_EQ(session.CLdoValidationsDrvInstall(&request, &takes_iscsi_or_ofed, &paths, &types,
                                                    &generation),
                  Number(row[2]))
            << what;
        EXPECT_EQ(session.Printed(), row[4]) << what;
        const int64_t got[] = {types, paths, generation};
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_TRUE(after[i] == "-" || std::stol(after[i], nullptr, 0) == got[i]) << what;
        }
        EXPECT_TRUE(row[2] != "0" || takes_iscsi_or_ofed == ((types & 0x240) != 0)) << what;
    }
}

TEST(Install, PushesThePackagesInOrder) {
    const std::string folder =
        ::testing::TempDir() + "zwmgmt-install-" + std::to_string(OwnProcessId());
    std::filesystem::create_directory(folder);
    std::ofstream(folder + "/kxgb3toe-1.gz") << std::string(20'000, 'x');
    std::ofstream(folder + "/OFED-2") << "y";
    const auto within = [&](const std::string& text) { return Replaced(text, "&", folder); };
    for (const auto& row : Cases("pushes")) {
        const auto orders = Words(row[0]), words = Words("system install " + within(row[1])),
                   expected = Words(row[2]);
        FileHost host;
        zmsim::RefusingHost refusing(host, {static_cast<uint32_t>(Number(orders[0])),
                                            static_cast<uint32_t>(Number(orders[1]))});
        Linked session(refusing);
        EXPECT_EQ(session.Run(Pointers(words)), Number(expected[0])) << row[1];
        EXPECT_EQ(+session.message.status, static_cast<uint32_t>(Number(expected[1]))) << row[1];
        EXPECT_EQ(session.Printed(), within(row[3]));
        EXPECT_TRUE(session.Connected());
        session.agent.Stop();
        ASSERT_EQ(host.files.size(), std::stoul(expected[2]));
        EXPECT_EQ(host.broken_off, Number(orders[1]) != 0);
        if (host.files.size() == 2) {
            EXPECT_EQ(host.files[0].announced.flags, 0x205u);
            EXPECT_EQ(host.files[0].announced.extra, "HPC");
            EXPECT_EQ(host.files[1].announced.name, "OFED-2");
        } else if (host.files.size() == 1) {
            EXPECT_EQ(host.files[0].announced.flags, 0x1u);
            EXPECT_EQ(host.files[0].announced.extra, row[1].ends_with("conftype=5") ? "\x05" : "");
        }
    }
    std::filesystem::remove_all(folder);
}

TEST(Install, ALostConnectionIsSaid) {
    const TemporaryFile package("x");
    const std::string driver = package.Path() + "-vqiscsi";
    std::filesystem::copy_file(package.Path(), driver);
    RawAgent agent([](SSL* ssl) {
        AcceptOpening(ssl);
        ReadFrom(ssl, 26);  // of the announcement
    });
    TestSession session(agent.Port());
    EXPECT_NE(session.Run({"system", "install", "type=iscsi", ("iscsipath=" + driver).c_str()}), 0);
    EXPECT_NE(session.Printed().find("\nError "), std::string::npos);
    EXPECT_FALSE(session.Connected());
    std::filesystem::remove(driver);
}

TEST(Drivers, APackageThatArrivedIsADriver) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    host.FileArrived({.name = "newdriver-1.0.gz", .size = 1, .flags = 1, .args = {}, .extra = ""});
    EXPECT_EQ(Tell(host, {"system", "getinstallresult"}).printed, "newdriver-1.0.gz: installed\n");
    EXPECT_EQ(Tell(host, {"system", "loaddriver", "drvname=newdriver"}).printed, "Successful\n");
}
