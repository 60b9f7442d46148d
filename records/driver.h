/// One driver of a host, and the request that loads one.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/driver.h"

namespace zwmgmt {

inline constexpr Field kDriverFields[] = {
    ZWMGMT_FIELD(DriverInfo, name),
    ZWMGMT_FIELD(DriverInfo, description),
    ZWMGMT_FIELD(DriverInfo, version),
    ZWMGMT_FIELD(DriverInfo, date),
    ZWMGMT_FIELD(DriverInfo, loaded, kFlagSense),
};

inline constexpr Field kDriverLoadFields[] = {
    ZWMGMT_FIELD(DriverLoadRequest, name),
    ZWMGMT_FIELD(DriverLoadRequest, virtual_functions),
};

}  // namespace zwmgmt
