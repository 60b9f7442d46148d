/// One counter of an adapter or a port.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/statistics.h"

namespace zwmgmt {

inline constexpr Field kCounterFields[] = {
    ZWMGMT_FIELD(VqStat, kind),
    ZWMGMT_FIELD(VqStat, name),
    ZWMGMT_FIELD(VqStat, value, kCounterSense),
};

}  // namespace zwmgmt
