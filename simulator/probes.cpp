#include "simulator/probes.h"

#include <cstring>

#include "agent/judge.h"
#include "agent/replies.h"
#include "agent/requests.h"
#include "zwmgmt/vocabulary.h"

namespace zmsim {

using agent::Failed;
using agent::RecordReply;
using agent::Reply;
using agent::Unpack;

namespace {

constexpr uint64_t kRoundTripMs = 2;
constexpr uint8_t kNearTarget[] = {10, 0, 0, 9};  // the address of whatever has a name

/// 192.0.2.0/24 and names under .invalid are where nobody answers.
bool IsReachable(const PingRequest& request) {
    if (request.target_kind == zwmgmt::kPingIpv4) {
        constexpr uint8_t kNobody[] = {192, 0, 2};
        return std::memcmp(request.target, kNobody, sizeof(kNobody)) != 0;
    }
    return !zwmgmt::FixedText(request.target, sizeof(request.target)).ends_with(".invalid");
}

}  // namespace

std::optional<Reply> Probes::Answer(uint16_t opcode, std::span<const uint8_t> data) {
    switch (opcode) {
        case zwmgmt::kPing:
        case zwmgmt::kTraceRoute: return Start(opcode, data);
        case zwmgmt::kPingResult:
        case zwmgmt::kTraceRouteResult: break;
        default: return std::nullopt;
    }
    const bool ping = opcode == zwmgmt::kPingResult;
    if (started != (ping ? zwmgmt::kPing : zwmgmt::kTraceRoute)) return Failed(zwmgmt::kNotStarted);
    if (running) {
        running = false;
        return Failed(zwmgmt::kStillRunning);
    }
    return ping ? PingResult() : TraceRouteResult();
}

Reply Probes::Start(uint16_t opcode, std::span<const uint8_t> data) {
    PingRequest asked = {};
    if (!Unpack(data, &asked) || !agent::IsSound(asked, opcode == zwmgmt::kPing)) {
        return Failed(zwmgmt::kInvalidValue);
    }
    if (running) return Failed(zwmgmt::kStillRunning);
    request = asked;
    started = opcode;
    running = true;
    return {};
}

Reply Probes::PingResult() const {
    const uint8_t received = IsReachable(request) ? request.packet_count : uint8_t{0};
    return RecordReply(_PingResponse{request.packet_count, received, kRoundTripMs});
}

Reply Probes::TraceRouteResult() const {
    _NextHopRouter hops[3] = {
        {zwmgmt::kHopRouter, {10, 0, 0, 1}, 1}, {zwmgmt::kHopTimedOut, {}, 0}, {}};
    _NextHopRouter& last = hops[2];
    if (IsReachable(request)) {
        last = {zwmgmt::kHopReached, {}, kRoundTripMs};
        std::memcpy(last.address,
                    request.target_kind == zwmgmt::kPingIpv4 ? request.target : kNearTarget,
                    sizeof(kNearTarget));
    } else {
        last.hop_kind = zwmgmt::kHopTimedOut;
    }
    return RecordReply(hops);
}

}  // namespace zmsim
