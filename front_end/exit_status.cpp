#include "front_end/exit_status.h"

#include <algorithm>

#include "zwmgmt/status.h"

namespace zwcli {

ExitStatus ExitStatusOf(uint32_t result, uint32_t agent_status) {
    switch (result) {
        case zwmgmt::kSuccess:
            if (agent_status == zwmgmt::kStillRunning) return kNotFinished;
            return agent_status == zwmgmt::kSuccess ? kOk : kFailed;
        case zwmgmt::kNotForThisAgent:
        case zwmgmt::kIncompatible:
        case zwmgmt::kNotSupported: return kUnsupported;
        case zwmgmt::kReadError:
        case zwmgmt::kWriteError:
        case zwmgmt::kNoReadWriteToken:
        case zwmgmt::kNotConnected:
        case zwmgmt::kReceiveTimeout:
        case zwmgmt::kSendTimeout: return kNoSession;
        default: return kFailed;
    }
}

ExitStatus Worse(ExitStatus one, ExitStatus other) {
    // The best first.
    static constexpr ExitStatus kOrder[] = {kOk,          kNotBegun,  kNotFinished,
                                            kUnsupported, kUsage,     kFailed,
                                            kNotLoggedIn, kNoSession, kInterrupted};
    return std::ranges::find(kOrder, one) < std::ranges::find(kOrder, other) ? other : one;
}

}  // namespace zwcli
