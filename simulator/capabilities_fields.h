/// The fields of a capabilities record, as a scenario names them.
#pragma once

#include "cli/fields.h"
#include "zwmgmt/records/capabilities.h"

namespace zmsim {

using namespace zwmgmt;

#define CAPABILITIES_FIELD(member) ZWMGMT_SILENT(Capabilities, member)

inline constexpr zwmgmt::Field kCapabilitiesFields[] = {
    CAPABILITIES_FIELD(api_version),
    CAPABILITIES_FIELD(os_code),
    CAPABILITIES_FIELD(network),
    CAPABILITIES_FIELD(teaming),
    CAPABILITIES_FIELD(iscsi),
    CAPABILITIES_FIELD(adapter),
    CAPABILITIES_FIELD(system),
    CAPABILITIES_FIELD(filter),
    CAPABILITIES_FIELD(traffic_management),
    CAPABILITIES_FIELD(fcoe),
    CAPABILITIES_FIELD(log),
    CAPABILITIES_FIELD(iwarp),
    CAPABILITIES_FIELD(bypass),
    CAPABILITIES_FIELD(bonding),
};

#undef CAPABILITIES_FIELD

}  // namespace zmsim
