#include "linux_agent/probes.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <sstream>
#include <system_error>

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "linux_agent/program.h"
#include "platform/address.h"
#include "zwmgmt/vocabulary.h"

namespace zmagent {
namespace {

namespace platform = zwmgmt::platform;
using Seconds = std::chrono::seconds;
using Words = std::vector<std::string>;

constexpr const char* kPingProgram = "/usr/bin/ping";
constexpr const char* kTraceProgram = "/usr/bin/traceroute";
constexpr size_t kMostProbes = 64;  // running, and outcomes that are kept
constexpr int64_t kLongestTimeout = 60'000;
constexpr Seconds kLongestTrace{120};

/// What to reach, as the programs take it; judged before: no option can be made of it.
std::string TargetOf(const PingRequest& request) {
    char text[64] = "";
    switch (request.target_kind) {
        case zwmgmt::kPingIpv4:
            platform::FormatAddress(platform::Family::kIpv4, request.target, text, sizeof(text));
            return text;
        case zwmgmt::kPingIpv6:
            platform::FormatAddress(platform::Family::kIpv6, request.target, text, sizeof(text));
            return text;
        default: return std::string(zwmgmt::FixedText(request.target, sizeof(request.target)));
    }
}

agent::Reply Ping(const PingRequest& request, const std::atomic<bool>& stop) {
    const int64_t timeout = std::min(int64_t{request.timeout_ms}, kLongestTimeout);
    const int64_t seconds = (timeout + 999) / 1000;
    const Words words = {"-n", "-q",
                         "-i", "0.2",
                         "-c", std::to_string(request.packet_count),
                         "-W", std::to_string(seconds),
                         "--", TargetOf(request)};
    const ProgramResult result = RunProgram(
        kPingProgram, words, Seconds(request.packet_count) + Seconds(seconds) + Seconds(10), stop);
    if (!result.ran) return agent::Failed(zwmgmt::kHostNotReached, "ping did not end");
    return PingReply(result.output);
}

agent::Reply Trace(const PingRequest& request, const std::atomic<bool>& stop) {
    const Words words = {"-n", "-q", "1", "-w", "2", "-m", "30", "--", TargetOf(request)};
    const ProgramResult result = RunProgram(kTraceProgram, words, kLongestTrace, stop);
    return TraceReply(result.output);
}

bool StartsPing(uint16_t opcode) { return opcode == zwmgmt::kPing; }

/// The address that a line of the trace begins with, behind its number.
bool ParseHop(const std::string& line, _NextHopRouter* hop, std::string* address) {
    std::istringstream words(line);
    int number = 0;
    double milliseconds = 0;
    if (!(words >> number >> *address)) return false;
    if (*address == "*") {
        hop->hop_kind = zwmgmt::kHopTimedOut;
        return true;
    }
    const auto parsed = platform::ParseAddress(address->c_str());
    if (!parsed || !(words >> milliseconds)) return false;
    hop->hop_kind = zwmgmt::kHopRouter;
    std::memcpy(hop->address, parsed->bytes, platform::AddressSize(parsed->family));
    hop->avg_rtt_ms = static_cast<uint64_t>(std::llround(milliseconds));
    return true;
}

/// What stands in the parentheses of "traceroute to NAME (ADDRESS), 30 hops max": where it leads.
std::string GoalOf(const std::string& line) {
    const size_t begin = line.find('(');
    const size_t end = line.find(')', begin);
    return end == line.npos ? "" : line.substr(begin + 1, end - begin - 1);
}

}  // namespace

agent::Reply PingReply(const std::string& output) {
    unsigned sent = 0;
    unsigned received = 0;
    double average = 0;
    bool whole = false;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (std::sscanf(line.c_str(), "%u packets transmitted, %u received", &sent, &received) ==
            2) {
            whole = true;
        }
        std::sscanf(line.c_str(), "rtt min/avg/max/mdev = %*f/%lf/", &average);
    }
    if (!whole || sent > 0xFF || received > 0xFF) {
        return agent::Failed(zwmgmt::kHostNotReached, "ping could not begin");
    }
    return agent::RecordReply(_PingResponse{static_cast<uint8_t>(sent),
                                            static_cast<uint8_t>(received),
                                            static_cast<uint64_t>(std::llround(average))});
}

agent::Reply TraceReply(const std::string& output) {
    std::istringstream lines(output);
    std::string line;
    std::getline(lines, line);
    const std::string goal = GoalOf(line);
    if (goal.empty()) return agent::Failed(zwmgmt::kHostNotReached, "traceroute could not begin");
    agent::Reply reply;
    while (std::getline(lines, line)) {
        _NextHopRouter hop = {};
        std::string address;
        if (!ParseHop(line, &hop, &address)) continue;
        if (address == goal) hop.hop_kind = zwmgmt::kHopReached;
        agent::AppendRecord(hop, &reply);
    }
    return reply;
}

Probes::~Probes() {
    stopping = true;
    for (auto& [user, probe] : probes) probe->thread.join();
}

std::optional<agent::Reply> Probes::Answer(const std::string& user, uint16_t opcode,
                                           std::span<const uint8_t> data) {
    switch (opcode) {
        case zwmgmt::kPing:
        case zwmgmt::kTraceRoute: return Start(user, opcode, data);
        case zwmgmt::kPingResult: return OutcomeOf(user, zwmgmt::kPing);
        case zwmgmt::kTraceRouteResult: return OutcomeOf(user, zwmgmt::kTraceRoute);
        default: return std::nullopt;
    }
}

/// Forgets an outcome when there are too many of them; false where all still run.
bool Probes::MakeRoom() {
    if (probes.size() < kMostProbes) return true;
    const auto done = std::ranges::find_if(
        probes, [](const auto& row) { return row.second->outcome.has_value(); });
    if (done == probes.end()) return false;
    done->second->thread.join();
    probes.erase(done);
    return true;
}

agent::Reply Probes::Start(const std::string& user, uint16_t opcode,
                           std::span<const uint8_t> data) {
    PingRequest request = {};
    if (!agent::Unpack(data, &request) || !agent::IsSound(request, StartsPing(opcode))) {
        return agent::Failed(zwmgmt::kInvalidValue);
    }
    const char* program = StartsPing(opcode) ? kPingProgram : kTraceProgram;
    if (access(program, X_OK) != 0) {
        return agent::Failed(zwmgmt::kNotSupported, std::string("there is no ") + program);
    }
    const std::lock_guard guard(lock);
    if (const auto row = probes.find(user); row != probes.end()) {
        if (!row->second->outcome) return agent::Failed(zwmgmt::kStillRunning);
        row->second->thread.join();
        probes.erase(row);
    }
    if (!MakeRoom()) return agent::Failed(zwmgmt::kStillRunning, "too many probes run");
    auto made = std::make_unique<Probe>();
    Probe& probe = *made;
    probe.opcode = opcode;
    std::unique_ptr<Probe>& place = probes[user];
    try {
        probe.thread = std::thread([this, &probe, request, opcode] {
            agent::Reply outcome = agent::Failed(zwmgmt::kHostNotReached, "out of memory");
            try {
                outcome = StartsPing(opcode) ? Ping(request, stopping) : Trace(request, stopping);
            } catch (const std::bad_alloc&) {
            }
            const std::lock_guard ending(lock);
            probe.outcome = std::move(outcome);
        });
    } catch (const std::system_error&) {
        probes.erase(user);
        return agent::Failed(zwmgmt::kStillRunning, "no thread is to be had");
    }
    place = std::move(made);
    return {};
}

agent::Reply Probes::OutcomeOf(const std::string& user, uint16_t opcode) {
    const std::lock_guard guard(lock);
    const auto row = probes.find(user);
    if (row == probes.end() || row->second->opcode != opcode) {
        return agent::Failed(zwmgmt::kNotStarted);
    }
    return row->second->outcome.value_or(agent::Failed(zwmgmt::kStillRunning));
}

}  // namespace zmagent
