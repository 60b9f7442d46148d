/// Ping, trace route and MTU: requests, printers, and operations on the simulated agent. The table
/// of requests was written down apart from the code.
#include <cstring>

#include "tests/support.h"

using namespace testing_support;
using namespace std::string_literals;
using namespace zwmgmt;

namespace {

#define B(bytes) std::string_view(bytes, sizeof(bytes) - 1)

struct ProbeRow {
    char command;  // 'p' ping, 't' trace route
    std::vector<std::pair<int, const char*>> entries;
    int result;
    int opcode;
    std::string_view begin;  // of the record; the rest is zero
    const char* printed;
};

// clang-format off
const ProbeRow kProbeRows[] = {
    {'p', {{-1, "getresult"}}, 0, 105, B(""), ""}, {'p', {{-1, "GetResult"}}, 0, 105, B(""), ""}, {'p', {{-1, "GETRESULT"}}, 0, 105, B(""), ""},
    {'p', {}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to ping\n"},
    {'p', {{-1, "getresults"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{-1, "getresult"}, {0, "10.0.0.1"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{-1, "getresult"}, {-1, "getresult"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {-1, "getresult"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}}, 0, 104, B("\x01\x04\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "fe80::1"}, {18, "ipv6"}}, 0, 104, B("\x02\x04\xd0\x07\x00\x00\x00\x00\x00\x00\xfe\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01"), ""},
    {'p', {{18, "ipv4"}, {0, "10.0.0.1"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{18, "ipv4"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{221, "h1"}, {18, "ipv4"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{0, "10.0.0.9"}, {0, "10.0.0.1"}, {18, "ipv4"}}, 0, 104, B("\x01\x04\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {0, "10.0.0.9"}}, 0, 104, B("\x01\x04\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "IPv4"}}, 1, 0, B(""), "Please specify the family correctly.\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4 "}}, 1, 0, B(""), "Please specify the family correctly.\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv"}}, 1, 0, B(""), "Please specify the family correctly.\n"},
    {'p', {{0, "10.0.0.1"}, {18, ""}}, 1, 0, B(""), "Please specify the family correctly.\n"},
    {'p', {{0, "fe80::1"}, {18, "ipv4"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv6"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{0, "abc"}, {18, "ipv4"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{0, "10.0.0.256"}, {18, "ipv4"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{0, "10.0.0.1"}}, 1, 0, B(""), "Please provide a valid ip address family\n"},
    {'p', {{0, "10.0.0.1"}, {219, "3"}}, 1, 0, B(""), "Please provide a valid ip address family\n"},
    {'p', {{219, "3"}}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to ping\n"},
    {'p', {{219, "3"}, {220, "3"}}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to ping\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {221, "h1"}}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to ping\n"},
    {'p', {{0, "10.0.0.1"}, {221, "h1"}}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to ping\n"},
    {'p', {{222, "a.b"}, {0, "10.0.0.1"}, {18, "ipv4"}}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to ping\n"},
    {'p', {{221, "server1"}}, 0, 104, B("\x03\x04\xd0\x07\x00\x00\x00\x00\x00\x00server1"), ""},
    {'p', {{221, "a.b"}}, 1, 0, B(""), "Please specify a hostname instead of a domain name\n"},
    {'p', {{221, "10.0.0.1"}}, 1, 0, B(""), "Please specify a hostname instead of a domain name\n"},
    {'p', {{222, "a.b"}}, 0, 104, B("\x04\x04\xd0\x07\x00\x00\x00\x00\x00\x00" "a.b"), ""},
    {'p', {{222, "10.0.0.1"}}, 0, 104, B("\x04\x04\xd0\x07\x00\x00\x00\x00\x00\x00" "10.0.0.1"), ""},
    {'p', {{222, "ab"}}, 1, 0, B(""), "Please specify a domain name instead of a host name\n"},
    {'p', {{221, "abcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcdefghij"}}, 0, 104, B("\x03\x04\xd0\x07\x00\x00\x00\x00\x00\x00" "abcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcd"), ""},
    {'p', {{222, "abcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.j"}}, 0, 104, B("\x04\x04\xd0\x07\x00\x00\x00\x00\x00\x00" "abcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.jabcdefgh.jabcd"), ""},
    {'p', {{221, "h1"}, {222, "a.bc"}}, 0, 104, B("\x04\x04\xd0\x07\x00\x00\x00\x00\x00\x00" "a.bc"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "10"}}, 0, 104, B("\x01\x0a\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{219, "10"}, {18, "ipv4"}, {0, "10.0.0.1"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'p', {{219, "10"}, {0, "10.0.0.1"}, {220, "1"}, {18, "ipv4"}}, 0, 104, B("\x01\x0a\xe8\x03\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "255"}}, 0, 104, B("\x01\xff\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "256"}}, 0, 104, B("\x01\x00\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "300"}}, 0, 104, B("\x01\x2c\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "0"}}, 0, 104, B("\x01\x00\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "-1"}}, 0, 104, B("\x01\xff\xd0\x07\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "3"}}, 0, 104, B("\x01\x04\xb8\x0b\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "0"}}, 0, 104, B("\x01\x04\x00\x00\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "-1"}}, 0, 104, B("\x01\x04\x18\xfc\xff\xff\xff\xff\xff\xff\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "2147483"}}, 0, 104, B("\x01\x04\x78\xfd\xff\x7f\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "2147484"}}, 0, 104, B("\x01\x04\x60\x01\x00\x80\xff\xff\xff\xff\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "4294968"}}, 0, 104, B("\x01\x04\xc0\x02\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "abc"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, ""}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "0x10"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "4294967296"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "12a"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "+3"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {220, "99999999999"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {1, "x"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {19, "255.0.0.0"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {218, "x"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {18, "ipv4"}, {223, "x"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{0, "10.0.0.1"}, {148, "eth0"}, {18, "IPv4"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'p', {{222, "ab"}, {300, "x"}}, 1, 0, B(""), "Please specify a domain name instead of a host name\n"}, {'t', {{-1, "getresult"}}, 0, 107, B(""), ""},
    {'t', {{-1, "gEtReSuLt"}}, 0, 107, B(""), ""}, {'t', {}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to traceroute\n"},
    {'t', {{-1, "getresult"}, {221, "h1"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'t', {{0, "10.0.0.1"}, {18, "ipv4"}}, 0, 106, B("\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x0a\x00\x00\x01"), ""},
    {'t', {{0, "fe80::1"}, {18, "ipv6"}}, 0, 106, B("\x02\x00\x00\x00\x00\x00\x00\x00\x00\x00\xfe\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01"), ""},
    {'t', {{18, "ipv4"}, {0, "10.0.0.1"}}, 1, 0, B(""), "Cannot convert ip address from dotted decimal format to binary format\n"},
    {'t', {{0, "10.0.0.1"}, {18, "IPV4"}}, 1, 0, B(""), "Please specify the family correctly.\n"},
    {'t', {{0, "10.0.0.1"}}, 1, 0, B(""), "Please provide a valid ip address family\n"},
    {'t', {{0, "10.0.0.1"}, {18, "ipv4"}, {222, "a.b"}}, 1, 0, B(""), "Please specify any one of ip address or hostname or domain name to traceroute\n"},
    {'t', {{221, "server1"}}, 0, 106, B("\x03\x00\x00\x00\x00\x00\x00\x00\x00\x00server1"), ""},
    {'t', {{222, "a.b"}}, 0, 106, B("\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00" "a.b"), ""},
    {'t', {{221, "a.b"}}, 1, 0, B(""), "Please specify a hostname instead of a domain name\n"},
    {'t', {{222, "ab"}}, 1, 0, B(""), "Please specify a domain name instead of a host name\n"},
    {'t', {{221, "abcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcdefghij"}}, 0, 106, B("\x03\x00\x00\x00\x00\x00\x00\x00\x00\x00" "abcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcdefghijabcd"), ""},
    {'t', {{0, "10.0.0.1"}, {18, "ipv4"}, {219, "3"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'t', {{220, "3"}, {0, "10.0.0.1"}, {18, "ipv4"}}, 1, 0, B(""), "Invalid argument specified\n"},
    {'t', {{0, "10.0.0.1"}, {18, "ipv4"}, {223, "x"}}, 1, 0, B(""), "Invalid argument specified\n"},
};
// clang-format on

std::vector<const char*> Net(std::vector<const char*> words) {
    words.insert(words.begin(), "net");
    return words;
}

}  // namespace

TEST(Ping, RequestsFollowTheirKeys) {
    TestSession session;
    for (const ProbeRow& row : kProbeRows) {
        std::vector<Client_Request_Argument> arguments;
        for (const auto& [key, value] : row.entries) arguments.push_back({value, key});
        const bool ping = row.command == 'p';
        Client_Request_Message request = {kNet, ping ? kPing : kTraceRoute, 0, arguments.data(),
                                          static_cast<uint32_t>(arguments.size())};
        _Message message = {};
        const int result =
            ping ? session.CLPing(&request, &message) : session.CLTraceRoute(&request, &message);
        const std::string what =
            row.entries.empty() ? "" : std::string(row.entries.back().second) + row.command;
        EXPECT_EQ(result, row.result) << what;
        EXPECT_EQ(session.Printed(), row.printed) << what;
        EXPECT_EQ(+message.opcode, row.opcode) << what;
        std::string expected(row.begin);
        if (!expected.empty()) expected.resize(74);
        const std::string_view sent(static_cast<const char*>(message.data), message.data_length);
        EXPECT_EQ(sent, expected) << what;
        std::free(message.data);
    }
    _Message to_xen = {};
    to_xen.os_type = kXen;
    Client_Request_Message request = {kNet, kTraceRoute, 0, nullptr, 0};
    EXPECT_EQ(session.CLTraceRoute(&request, &to_xen), 3);
    EXPECT_EQ(session.Printed(), "");
}

TEST(Ping, RepliesArePrintedByStatusAndOpcode) {
    const char* running =
        "There is a background command already running. Please wait till it finishes\n";
    const std::string not_started =
        "The data available is not for this command. Please initiate the ping command and then "
        "retry\n";
    const char* initiated =
        "Ping initiated to the specified host. Please use the 'ping getresult' command to get the "
        "result\n";
    // clang-format off
    const Table<uint32_t, uint16_t, uint8_t, uint32_t, std::string> rows = {
        {0, 104, 0, 0, initiated}, {0, 105, 3, 10, "Packets: sent = 4 received = 3 avgRtt = 4294967296 ms\n"},
        {0, 105, 0, 10, "Host Not Reachable.\n"}, {0, 105, 3, 9, "Host Not Reachable.\n"}, {0, 106, 3, 10, ""},
        {55, 104, 3, 10, running}, {57, 105, 3, 10, not_started}, {1, 105, 3, 10, "Host Not Reachable.\n"}, {2, 104, 0, 0, ""}, {9, 105, 3, 10, ""},
    };
    // clang-format on
    TestSession session;
    for (const auto& [status, opcode, received, length, printed] : rows) {
        const _PingResponse response = {4, received, 1ull << 32};
        _Message reply = {};
        reply.status = status;
        reply.opcode = opcode;
        reply.data_length = length;
        session.GetPingResponse(&response, &reply);
        EXPECT_EQ(session.Printed(), printed) << status << ' ' << opcode;
    }
}

TEST(TraceRoute, RepliesArePrintedByStatusAndOpcode) {
    const std::string running =
        "There is a background command already running. Please wait till it finishes\n";
    const std::string not_started =
        "The data available is not for this command. Please initiate the traceroute command and "
        "then retry\n";
    const std::string initiated =
        "Trace route initiated to the specified host. Please use 'traceroute getresult' command to "
        "get the result\n";
    const std::string head = "Hops      AvgRtt (ms)    Ip\n";
    const std::string nobody = "\nHost is not reachable.\n";
    const std::string router = "1         7              10.0.0.1\n";
    // clang-format off
    const Table<uint32_t, uint16_t, std::vector<_NextHopRouter>, std::string> rows = {
        {0, 106, {}, initiated}, {55, 106, {}, running + initiated}, {57, 107, {}, not_started + head + nobody},
        {1, 107, {{3, {}, 1}}, "Host Not Reachable.\n" + head + nobody}, {2, 107, {{3, {}, 1}}, ""}, {0, 105, {{3, {}, 1}}, ""},
        {0, 107, {}, head + nobody},
        {0, 107, {{3, {10, 0, 0, 1}, 7}, {2, {}, 0}, {1, {10, 0, 0, 255}, 8}},
         head + router + "2         0              Timed out\n3         8              10.0.0.255\nTrace success\n\n"},
        {0, 107, {{0, {1}, 1}, {9, {1}, 2}}, head + "1         1              \n2         2              \n" + nobody},
    };
    // clang-format on
    TestSession session;
    for (const auto& [status, opcode, hops, printed] : rows) {
        _Message reply = {};
        reply.status = status;
        reply.opcode = opcode;
        // What is behind the last whole record is no hop.
        std::vector<_NextHopRouter> run = hops;
        run.push_back({3, {}, 0});
        reply.data_length = static_cast<uint32_t>(hops.size() * sizeof(hops[0]) + 24);
        session.TraceRouteResponse(run.data(), &reply);
        EXPECT_EQ(session.Printed(), printed) << status << ' ' << opcode;
    }
}

TEST(Mtu, IsCheckedBeforeItIsSent) {
    const char* no_word = "please specify a valid sub command\n";
    const char* not_positive = "Please specify postive value for mtu\n";
    const char* too_high = "You have entered very high value for mtu!!!!\n";
    // clang-format off
    const Table<uint8_t, std::vector<const char*>, std::string, const char*> rows = {
        {2, {"mtu"}, "", no_word}, {2, {"mtu", "ifname=e", "mtu=1"}, "", no_word}, {2, {"mtu", "get", "mtu=1"}, "", no_word},
        {2, {"mtu", "set", "ifname=e", "mtu=0"}, "", not_positive}, {2, {"mtu", "set", "mtu=-1"}, "", not_positive}, {2, {"mtu", "set", "mtu=x"}, "", not_positive},
        {2, {"mtu", "set", "mtu=655356"}, "", too_high}, {2, {"mtu", "set", "mtu=99999999999"}, "", too_high},
        {2, {"mtu", "set", "ifname=e"}, "", "Plese specify MTU\n"}, {2, {"mtu", "set", "mtu=5", "vlan=1"}, "", "Invalid argument specified\n"},
        {1, {"mtu", "set", "mtu=5"}, "", "please specify IfName\n"}, {1, {"mtu", "set"}, "", "please specify IfName\n"},
        {2, {"mtu", "set", "mtu=655355"}, std::string(64, '\0') + "\xfb\xff\x09\0"s, ""},
        {1, {"mtu", "set", "ifname=eth2", "mtu=1"}, "eth2" + std::string(60, '\0') + "\x01\0\0\0"s, ""},
    };
    // clang-format on
    for (const auto& [os_type, words, record, printed] : rows) {
        std::string sent;
        CannedHost host(
            [&](uint8_t, uint16_t opcode, auto data) {
                EXPECT_EQ(opcode, 101);
                sent.assign(data.begin(), data.end());
                return zmsim::Reply{};
            },
            os_type);
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        EXPECT_EQ(session.Run(Net(words)), record.empty() ? 1 : 0);
        EXPECT_EQ(session.Printed(), record.empty() ? printed : "Successful\n");
        EXPECT_EQ(sent, record);
    }
}

TEST(Net, OperationsGoOnInTheBackground) {
    zmsim::ScenarioHost host(BuiltinScenario("freebsd"));
    TestAgent agent(host);
    TestSession session;
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    const auto status_of = [&](const std::vector<const char*>& words) {
        EXPECT_EQ(session.Run(Net(words)), 0);
        return session.LastStatus();
    };
    EXPECT_EQ(status_of({"ping", "getresult"}), 57u);
    EXPECT_EQ(status_of({"ping", "host=alpha"}), 0u);
    EXPECT_EQ(status_of({"traceroute", "host=alpha"}), 55u);
    EXPECT_EQ(status_of({"traceroute", "getresult"}), 57u);
    EXPECT_EQ(status_of({"ping", "getresult"}), 55u);
    session.Printed();
    EXPECT_EQ(status_of({"ping", "GETRESULT"}), 0u);
    EXPECT_EQ(session.Printed(), "Packets: sent = 4 received = 4 avgRtt = 2 ms\n");
    EXPECT_EQ(status_of({"ping", "domain=no.invalid"}), 0u);
    EXPECT_EQ(status_of({"ping", "getresult"}), 55u);
    session.Printed();
    EXPECT_EQ(status_of({"ping", "getresult"}), 0u);
    EXPECT_EQ(session.Printed(), "Host Not Reachable.\n");
    EXPECT_EQ(status_of({"mtu", "set", "ifname=kxgbe0", "mtu=4000"}), 0u);
    EXPECT_EQ(status_of({"mtu", "set", "ifname=nothing", "mtu=4000"}), 97u);
    session.Printed();
    const auto card = BuiltinScenario("freebsd").adapters.back().card;
    const std::string pci = "pci=" + std::string(FixedText(card.pci_bus_location));
    EXPECT_EQ(session.Run({"korvane", "listports", pci.c_str()}), 0);
    EXPECT_NE(session.Printed().find("MTU                        : 4000\n"), std::string::npos);

    CannedHost xen([](auto...) { return zmsim::Reply{}; }, kXen);
    TestAgent xen_agent(xen);
    const ProcessResult run = Zwcli(xen_agent.Port(), {"net", "traceroute", "host=a"});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.exit_status, 5);
}
