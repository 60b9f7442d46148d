/// A proxy: passes on to an agent what clients send, and keeps what it answers.
#pragma once

#include <string>

#include "agent/server.h"
#include "simulator/recording.h"

namespace zmsim {

struct Upstream {
    std::string host;
    uint16_t port = 0;
    std::string known_agents;  // file with its key; "": the user's
};

/// The agent is trusted as korvane_zwcli trusts it by itself: nothing is sent to one whose key has
/// changed. What goes wrong is said on standard error. The recorder outlives the result.
agent::ServeClient RelayTo(const Upstream& upstream, Recorder& recorder);

}  // namespace zmsim
