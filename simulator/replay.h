/// An agent that answers as one has answered before.
#pragma once

#include "agent/server.h"
#include "simulator/recording.h"

namespace zmsim {

/// Any user and password are answered as those of the recording were. What the recording lacks is
/// answered with 412, and said on standard error. The recording outlives the result.
agent::ServeClient ReplayOf(Recording& recording);

}  // namespace zmsim
