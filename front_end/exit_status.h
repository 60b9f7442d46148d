/// How korvane_zwcli ends. Scripts rely on these numbers.
#pragma once

#include <cstdint>

namespace zwcli {

enum ExitStatus : int {
    kOk = 0,
    kFailed = 1,       // the agent answered with a failure, or this machine failed
    kUsage = 2,        // something is wrong with the command line
    kNoSession = 3,    // not reachable, connection lost, no read-write token
    kNotLoggedIn = 4,  // the login failed or could not be tried
    kUnsupported = 5,  // the agent does not support the command
    kNotFinished = 6,  // what runs in the background has no outcome yet
    kNotBegun = 7,     // others had failed before
    kInterrupted = 130,
};

/// What the result of a request means for the exit status; agent_status is the reply's.
ExitStatus ExitStatusOf(uint32_t result, uint32_t agent_status);

/// Which of the statuses of two hosts is that of both: the one that tells more loudly that a host
/// was not served.
ExitStatus Worse(ExitStatus one, ExitStatus other);

}  // namespace zwcli
