/// What an agent can do: versions, and a word a service.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/capabilities.h"

namespace zwmgmt {

/// By AgentOs.
inline constexpr const char* kOsWords[] = {"",    "Windows", "Linux", "Solaris", "FreeBSD",
                                           "ESX", "Mac OS",  "",      "Xen"};
inline constexpr Sense kOsSense = OneOf(kOsWords);

#define CAPABILITIES(member) ZWMGMT_FIELD(Capabilities, member)

inline constexpr Field kCapabilitiesFields[] = {
    CAPABILITIES(api_version), CAPABILITIES(os_code), CAPABILITIES(network),
    CAPABILITIES(teaming),     CAPABILITIES(iscsi),   CAPABILITIES(adapter),
    CAPABILITIES(system),      CAPABILITIES(filter),  CAPABILITIES(traffic_management),
    CAPABILITIES(fcoe),        CAPABILITIES(log),     CAPABILITIES(iwarp),
    CAPABILITIES(bypass),      CAPABILITIES(bonding),
};

#undef CAPABILITIES

}  // namespace zwmgmt
