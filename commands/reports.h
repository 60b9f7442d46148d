/// How a request that failed is reported.
#pragma once

#include <cstdint>

class ZwMgmt_interface;

namespace zwmgmt {

/// What LastStatus() gives from now on.
void SetLastStatus(ZwMgmt_interface& session, uint32_t status);

/// Says what there is to say of a status, and does what it means for the session. False for one
/// that is not reported.
bool ReportStatus(ZwMgmt_interface& session, uint32_t status);

}  // namespace zwmgmt
