/// What the replies of the system and of its network hold.
#pragma once

#include "output/description.h"

namespace zwmgmt {

extern const Description kAgentCapabilities;
extern const Description kPingOutcome;
extern const Description kHops;

}  // namespace zwmgmt
