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
    ZWMGMT_SILENT(DriverInfo, name),    ZWMGMT_SILENT(DriverInfo, date),
    ZWMGMT_SILENT(DriverInfo, version), ZWMGMT_SILENT(DriverInfo, description),
    ZWMGMT_SILENT(DriverInfo, loaded),
};

}  // namespace zwmgmt
