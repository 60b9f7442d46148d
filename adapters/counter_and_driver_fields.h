/// The fields of counter and driver records.
#pragma once

#include "cli/fields.h"
#include "zwmgmt/records/driver.h"
#include "zwmgmt/records/statistics.h"

namespace zwmgmt {

inline constexpr Field kStatisticsFields[] = {
    ZWMGMT_SILENT(VqStat, kind),
    ZWMGMT_SILENT(VqStat, name),
    ZWMGMT_SILENT(VqStat, value),
};

inline constexpr Field kDriverFields[] = {
    ZWMGMT_FIELD(DriverInfo, name, "Driver Name        : %s\n"),
    ZWMGMT_FIELD(DriverInfo, description, "Driver Description : %s\n"),
    ZWMGMT_FIELD(DriverInfo, version, "Driver Version     : %s\n", OrElse("Not Available")),
    ZWMGMT_FIELD(DriverInfo, date, "Driver Date        : %s\n", OrElse("Not Available")),
    ZWMGMT_FIELD(DriverInfo, loaded, "Driver Loaded      : %s\n\n", Switch("No", "Yes")),
};

}  // namespace zwmgmt
