/// What the replies of the system service hold.
#pragma once

#include "output/description.h"

namespace zwmgmt {

extern const Description kAgentCapabilities;

}  // namespace zwmgmt
