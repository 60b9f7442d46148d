/// What the replies of host networking hold, and mean.
#include <cstring>

#include "platform/address.h"
#include "records/net.h"
#include "system/results.h"
#include "zwmgmt/status.h"

namespace zwmgmt {
namespace {

uint32_t JudgePing(const void* data, uint32_t length) {
    _PingResponse ping = {};
    if (data != nullptr && length >= sizeof(ping)) std::memcpy(&ping, data, sizeof(ping));
    return ping.received != 0 ? kSuccess : kHostNotReached;
}

constexpr Field kHopCells[] = {
    CellField("hop", 0, Decimal()),
    CellField("address", 1),
    CellField("avg_rtt_ms", 2, Decimal("milliseconds")),
    CellField("outcome", 3),
};

const char* OutcomeOf(uint8_t kind) { return kind < std::size(kHopKinds) ? kHopKinds[kind] : ""; }

template <class Each>
void ForEachHop(const void* data, uint32_t length, Each each) {
    const uint32_t count = data != nullptr ? length / uint32_t{sizeof(_NextHopRouter)} : 0;
    for (uint32_t i = 0; i < count; ++i) {
        _NextHopRouter hop;
        std::memcpy(&hop, static_cast<const _NextHopRouter*>(data) + i, sizeof(hop));
        each(i + 1, hop);
    }
}

void DecodeHops(const void* data, uint32_t length, Cells* rows) {
    ForEachHop(data, length, [&](uint32_t number, const _NextHopRouter& hop) {
        char quad[16] = "";
        if (hop.hop_kind == kHopReached || hop.hop_kind == kHopRouter) {
            platform::FormatAddress(platform::Family::kIpv4, hop.address, quad, sizeof(quad));
        }
        rows->push_back({std::to_string(number), quad, std::to_string(hop.avg_rtt_ms),
                         OutcomeOf(hop.hop_kind)});
    });
}

uint32_t JudgeHops(const void* data, uint32_t length) {
    bool reached = false;
    ForEachHop(data, length, [&](uint32_t, const _NextHopRouter& hop) {
        reached |= hop.hop_kind == kHopReached;
    });
    return reached ? kSuccess : kHostNotReached;
}

}  // namespace

const Description kPingOutcome = {.name = "ping",
                                  .shape = Description::kOne,
                                  .single = true,
                                  .size = sizeof(_PingResponse),
                                  .fields = kPingFields,
                                  .judge = JudgePing};
const Description kHops = {.name = "hop",
                           .shape = Description::kDecoded,
                           .fields = kHopCells,
                           .decode = DecodeHops,
                           .judge = JudgeHops};

}  // namespace zwmgmt
