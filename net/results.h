/// What the replies of host networking hold.
#pragma once

#include "output/description.h"

namespace zwmgmt {

extern const Description kPingOutcome;
extern const Description kHops;

}  // namespace zwmgmt
