/// Ping, trace route and MTU: requests, printers, and operations on the simulated agent. The table
/// of requests was written down apart from the code.
#include <cstring>

#include "tests/support.h"

using namespace testing_support;
using namespace std::string_literals;
using namespace zwmgmt;

namespace {

std::vector<const char*> Net(std::vector<const char*> words) {
    words.insert(words.begin(), "net");
    return words;
}

}  // namespace

TEST(Probes, RequestsFollowTheirKeys) {
    TestSession session;
    for (const auto& row : Cases("probes")) {
        const std::string what = row[0] + ' ' + row[1];
        const auto entries = Words(row[1]);
        auto arguments = Arguments(entries);
        const bool ping = row[0] == "p";
        Client_Request_Message request = {kNet, ping ? kPing : kTraceRoute, 0, arguments.data(),
                                          static_cast<uint32_t>(arguments.size())};
        _Message message = {};
        const int result =
            ping ? session.CLPing(&request, &message) : session.CLTraceRoute(&request, &message);
        EXPECT_EQ(result, row[4].empty() ? 0 : 1) << what;
        EXPECT_EQ(session.Printed(), row[4]) << what;
        EXPECT_EQ(+message.opcode, Number(row[2])) << what;
        std::string expected = Unhex(row[3]);
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
    const Table<uint32_t, uint16_t, uint8_t, uint32_t, std::string> rows = {
        {0, 105, 3, 10, "Packets: sent = 4 received = 3 avgRtt = 4294967296 ms\n"},
        {0, 105, 1, 10, "Packets: sent = 4 received = 1 avgRtt = 4294967296 ms\n"},
        {0, 105, 0, 10, "Host Not Reachable.\n"},
        {0, 105, 3, 9, "Host Not Reachable.\n"},
        {0, 106, 3, 10, ""},
        {2, 104, 0, 0, ""},
    };
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
    const Table<uint32_t, uint16_t, std::vector<_NextHopRouter>, std::string> rows = {
        {0, 106, {}, initiated},
        {55, 106, {}, running + initiated},
        {57, 107, {}, not_started + head + nobody},
        {1, 107, {{3, {}, 1}}, "Host Not Reachable.\n" + head + nobody},
        {2, 107, {{3, {}, 1}}, ""},
        {0, 105, {{3, {}, 1}}, ""},
        {0, 107, {}, head + nobody},
        {0, 107, {{3, {10, 0, 0, 1}, 7}}, head + router},
        // One hop is a whole route.
        {0, 107, {{1, {10, 0, 0, 1}, 7}}, head + router + "Trace success\n\n"},
        {0,
         107,
         {{3, {10, 0, 0, 1}, 7}, {2, {}, 0}, {1, {10, 0, 0, 255}, 8}},
         head + router +
             "2         0              Timed out\n3         8              10.0.0.255\nTrace "
             "success\n\n"},
        {0,
         107,
         {{0, {1}, 1}, {9, {1}, 2}},
         head + "1         1              \n2         2              \n" + nobody},
    };
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

TEST(Net, AnMtuIsListed) {
    zmsim::ScenarioHost host(BuiltinScenario("freebsd"));
    EXPECT_EQ(Tell(host, Net({"mtu", "set", "ifname=kxgbe0", "mtu=4000"})).status, 0u);
    const auto card = BuiltinScenario("freebsd").adapters.back().card;
    const std::string pci = "pci=" + std::string(FixedText(card.pci_bus_location));
    EXPECT_NE(Tell(host, {"korvane", "listports", pci.c_str()}).printed.find("      : 4000\n"),
              std::string::npos);
}

TEST(Net, XenHasNoTraceRoute) {
    CannedHost xen([](auto...) { return agent::Reply{}; }, kXen);
    TestAgent agent(xen);
    const ProcessResult run = Zwcli(agent.Port(), {"net", "traceroute", "host=a"});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.exit_status, 5);
}
