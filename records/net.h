/// What a ping and a trace route found.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/net.h"

namespace zwmgmt {

inline constexpr Field kPingFields[] = {
    ZWMGMT_FIELD(_PingResponse, sent, Plain("packets")),
    ZWMGMT_FIELD(_PingResponse, received, Plain("packets")),
    ZWMGMT_FIELD(_PingResponse, avg_rtt_ms, Plain("milliseconds")),
};

}  // namespace zwmgmt
