/// What the replies about adapters, ports, counters and drivers hold.
#pragma once

#include "output/description.h"

namespace zwmgmt {

extern const Description kAdapters;
extern const Description kPorts;
extern const Description kCounters;
extern const Description kDrivers;
extern const Description kInstallOutcomes;

}  // namespace zwmgmt
