/// Printers of host networking.
#include <cstring>

#include "commands/outcomes.h"
#include "commands/reports.h"
#include "system/results.h"

using namespace zwmgmt;

namespace {

constexpr const char* kNotReached = "Host Not Reachable.\n";

constexpr OutcomeRow kPingOutcomes[] = {
    {kStillRunning, kAnyAgent, kRunningText},
    {kNotStarted, kAnyAgent,
     "The data available is not for this command. Please initiate the ping command and then "
     "retry\n"},
    {kHostNotReached, kAnyAgent, kNotReached},
};

constexpr OutcomeRow kTraceRouteOutcomes[] = {
    {kStillRunning, kAnyAgent, kRunningText},
    {kNotStarted, kAnyAgent,
     "The data available is not for this command. Please initiate the traceroute command and then "
     "retry\n"},
    {kHostNotReached, kAnyAgent, kNotReached},
};

constexpr OutcomeRow kMtuOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kAnyOther, kAnyAgent, "Command failed\n"},
};

void PrintHop(ZwMgmt_interface& session, int number, const _NextHopRouter& hop) {
    session.PrintOutput("%-10d%-15llu", number, static_cast<unsigned long long>(hop.avg_rtt_ms));
    if (hop.hop_kind == kHopReached || hop.hop_kind == kHopRouter) {
        const uint8_t* quad = hop.address;
        session.PrintOutput("%d.%d.%d.%d", quad[0], quad[1], quad[2], quad[3]);
    }
    if (hop.hop_kind == kHopReached) session.PrintOutput("\nTrace success\n");
    if (hop.hop_kind == kHopTimedOut) session.PrintOutput("Timed out");
    session.PrintOutput("\n");
}

void PrintHops(ZwMgmt_interface& session, const void* hops, uint32_t length) {
    session.PrintOutput("%-10s%-15s%s\n", "Hops", "AvgRtt (ms)", "Ip");
    const uint32_t count = hops != nullptr ? length / uint32_t{sizeof(_NextHopRouter)} : 0;
    bool any_known = false;
    for (uint32_t i = 0; i < count; ++i) {
        _NextHopRouter hop;
        std::memcpy(&hop, static_cast<const _NextHopRouter*>(hops) + i, sizeof(hop));
        PrintHop(session, static_cast<int>(i + 1), hop);
        any_known |= kHopReached <= hop.hop_kind && hop.hop_kind <= kHopRouter;
    }
    if (!any_known) session.PrintOutput("\nHost is not reachable.\n");
}

}  // namespace

void ZwMgmt_interface::GetPingResponse(const _PingResponse* result, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutcome(*this, kPingOutcomes, *message);
    } else if (message->opcode == kPing) {
        PrintOutput(
            "Ping initiated to the specified host. Please use the 'ping getresult' command to get "
            "the result\n");
    } else if (message->opcode == kPingResult) {
        _PingResponse ping = {};
        if (result != nullptr && message->data_length >= sizeof(ping)) {
            std::memcpy(&ping, result, sizeof(ping));
        }
        if (ping.received == 0) {
            SetLastStatus(*this, kHostNotReached);
            PrintOutput("%s", kNotReached);
        } else {
            PrintOutput("Packets: sent = %d received = %d avgRtt = %llu ms\n", ping.sent,
                        ping.received, static_cast<unsigned long long>(ping.avg_rtt_ms));
        }
    }
}

void ZwMgmt_interface::TraceRouteResponse(const _NextHopRouter* hops, _Message* message) {
    const bool known = message->status == kSuccess || message->status == kStillRunning ||
                       message->status == kNotStarted || message->status == kHostNotReached;
    if (!known) return;
    // Unlike a ping's, a failure's text is followed by what the opcode asks for, on purpose.
    PrintOutcome(*this, kTraceRouteOutcomes, *message);
    if (message->opcode == kTraceRoute) {
        PrintOutput(
            "Trace route initiated to the specified host. Please use 'traceroute getresult' "
            "command to get the result\n");
    } else if (message->opcode == kTraceRouteResult) {
        const uint32_t length = message->status == kSuccess ? message->data_length : 0;
        PrintHops(*this, hops, length);
        if (message->status == kSuccess) SetLastStatus(*this, kHops.judge(hops, length));
    }
}

void ZwMgmt_interface::GetSetMTUResponse(_Message* message) {
    PrintOutcome(*this, kMtuOutcomes, *message);
}
