/// Where agents are: addresses of both families, which of several is connected to, and what is said
/// when none is.
#include <algorithm>

#include "session/race.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

std::vector<platform::Address> AddressesOf(const std::string& texts) {
    std::vector<platform::Address> addresses;
    for (const std::string& text : Words(texts)) {
        addresses.push_back(platform::ParseAddress(text.c_str()).value_or(platform::Address{}));
    }
    return addresses;
}

std::string TextsOf(std::span<const platform::Address> addresses) {
    std::string texts;
    for (const auto& address : addresses) {
        texts += (texts.empty() ? "" : " ") + std::string(platform::FormatAddress(address).text);
    }
    return texts;
}

/// Who answers at the port; why nobody does.
std::string RaceTo(const std::string& texts, uint16_t port) {
    ConnectionRace race(AddressesOf(texts), port);
    const auto socket = race.Run(platform::Milliseconds(60'000));
    FailureDetail detail;
    race.Explain("node7", &detail);
    if (socket == platform::kNoSocket) return detail.text;
    platform::CloseSocket(socket);
    return platform::FormatAddress(race.Winner()).text;
}

}  // namespace

TEST(AgentAddresses, HaveOneText) {
    const Table<const char*, std::string> rows = {
        {"FD00:0::0:A", "fd00::a"},
        {"fe80::1%4294967295", "fe80::1%4294967295"},
        {"fe80::1%4294967296", ""},
        {"fe80::1%0", ""},
        {"fe80::1%", ""},
        {"127.0.0.1%1", ""},
        {"0000:0000:0000:0000:0000:0000:0000:0000:0000:0001", ""},
    };
    for (const auto& [text, usual] : rows) {
        const auto address = platform::ParseAddress(text);
        EXPECT_EQ(address ? platform::FormatAddress(*address).text : "", usual) << text;
    }
    const auto zoned = AddressesOf("::1%1");
    EXPECT_EQ(AddressesOf(TextsOf(zoned)), zoned) << "whatever the first interface is called";
}

TEST(AgentAddresses, OfBothFamiliesTakeTurns) {
    const Table<const char*, const char*> rows = {
        {"::1 ::2 ::3 1.0.0.1 1.0.0.2", "::1 1.0.0.1 ::2 1.0.0.2 ::3"},
        {"1.0.0.1 1.0.0.2 1.0.0.3 ::1", "1.0.0.1 ::1 1.0.0.2 1.0.0.3"},
        {"::1 1.0.0.1 1.0.0.2 1.0.0.3 ::2", "::1 1.0.0.1 ::2 1.0.0.2 1.0.0.3"},
        {"::1 ::2 ::3 ::4 ::5 ::6 1.0.0.1", "::1 1.0.0.1 ::2 ::3 ::4 ::5"},  // there is room for 6
    };
    for (const auto& [found, expected] : rows) {
        platform::Address ordered[6];
        EXPECT_EQ(TextsOf({ordered, TakeTurns(AddressesOf(found), ordered)}), expected);
    }
}

TEST(Race, IsWonByWhoAnswers) {
    CannedHost host;
    std::string error;
    TestAgent ipv4(host, {.listen = {"127.0.0.1"}});
    agent::Server ipv6(host, {.listen = {"::1"}});
    if (!ipv6.Start(&error)) GTEST_SKIP() << "this machine has no IPv6: " << error;
    EXPECT_EQ(RaceTo("::1 127.0.0.1", ipv4.Port()), "127.0.0.1");
    EXPECT_EQ(RaceTo("127.0.0.2 127.0.0.3 ::1", ipv6.Port()), "::1");

    TestAgent both(host, {.listen = {"127.0.0.2", "localhost", "127.0.0.2"}});
    for (const char* address : {"127.0.0.2", "::1", "127.0.0.1"}) {
        EXPECT_EQ(RaceTo(address, both.Port()), address);
    }
    agent::Server late(host, {.listen = {"127.0.0.3", "::1"}, .port = both.Port()});
    EXPECT_FALSE(late.Start(&error));
    EXPECT_EQ(error.find("cannot listen on ::1 port " + std::to_string(both.Port())), 0u) << error;
}

TEST(Race, NamesThoseWhoRefuseAndNobodyByHalves) {
    uint16_t port = 0;
    platform::CloseSocket(platform::Listen(platform::kIpv4Loopback, &port));
    const std::string why = Replaced(RaceTo("127.0.0.1", port), "127.0.0.1", "");
    EXPECT_GT(why.size(), 2u);
    EXPECT_EQ(RaceTo("127.0.0.1 127.0.0.2", port), "127.0.0.1" + why + "; 127.0.0.2" + why);
    std::string texts;
    for (int i = 1; i <= 30; ++i) texts += "127.100.100." + std::to_string(100 + i) + " ";
    const std::string failure = RaceTo(texts, port);
    EXPECT_GT(failure.size(), sizeof(FailureDetail) - 100);
    const auto named = std::ranges::count(failure, ':');
    EXPECT_TRUE(failure.ends_with("; and " + std::to_string(kMostAddresses - named) + " more"))
        << failure;
}
