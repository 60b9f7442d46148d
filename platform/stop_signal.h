/// How a process is asked to stop: SIGTERM, SIGINT or the platform's like.
#pragma once

namespace zwmgmt::platform {

/// Call before any thread starts: from then on the requests to stop are kept for WaitForStop.
void HoldStopSignals();

/// Blocks until the process is asked to stop.
void WaitForStop();

/// From now on the first request to stop is noted, and the second ends the process at once.
void NoteStopSignal();

/// The same of Ctrl-C alone; what was noted before is forgotten. May be called again and again.
void NoteInterrupt();

/// Whether the first has come.
bool StopIsNoted();

}  // namespace zwmgmt::platform
