/// How a server process is asked to stop.
#pragma once

namespace zwmgmt::platform {

/// Call before any thread starts: from then on the requests to stop (SIGTERM, SIGINT or the
/// platform's like) are kept for WaitForStop.
void HoldStopSignals();

/// Blocks until the process is asked to stop.
void WaitForStop();

}  // namespace zwmgmt::platform
