/// An offload policy as it travels.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/policy.h"

namespace zwmgmt {

/// By PolicySettings::congestion, and by _OfldPolicy::operation.
inline constexpr const char* kCongestionWords[] = {"reno", "tahoe", "newreno", "highspeed"};
inline constexpr const char* kPolicyOperations[] = {"", "", "add", "modify", "delete"};

inline constexpr Field kPolicyTestFields[] = {
    ZWMGMT_FIELD(PolicyFields, source_address, kAddressSense),
    ZWMGMT_FIELD(PolicyFields, destination_address, kAddressSense),
    ZWMGMT_FIELD(PolicyFields, source_port),
    ZWMGMT_FIELD(PolicyFields, destination_port),
    ZWMGMT_FIELD(PolicyFields, vlan),
    ZWMGMT_FIELD(PolicyFields, tos),
    ZWMGMT_FIELD(PolicyFields, version),
    ZWMGMT_FIELD(PolicyFields, open),
    ZWMGMT_FIELD(PolicyFields, mark),
};

inline constexpr Field kPolicyInstructionFields[] = {
    ZWMGMT_FIELD(PolicyInstruction, used, kFlagSense),
    ZWMGMT_FIELD(PolicyInstruction, on_match),
    ZWMGMT_FIELD(PolicyInstruction, on_miss),
};

inline constexpr Field kPolicySettingFields[] = {
    ZWMGMT_FIELD(PolicySettings, offload),
    ZWMGMT_FIELD(PolicySettings, ddp),
    ZWMGMT_FIELD(PolicySettings, coalesce),
    ZWMGMT_FIELD(PolicySettings, congestion, OneOf(kCongestionWords)),
    ZWMGMT_FIELD(PolicySettings, bind, Plain("CPU")),
    ZWMGMT_FIELD(PolicySettings, traffic_class),
    ZWMGMT_FIELD(PolicySettings, timestamp),
    ZWMGMT_FIELD(PolicySettings, sack),
};

inline constexpr Field kPolicyFields[] = {
    ZWMGMT_FIELD(_OfldPolicy, index),
    ZWMGMT_FIELD(_OfldPolicy, interface_name),
    ZWMGMT_FIELD(_OfldPolicy, operation, OneOf(kPolicyOperations)),
};

}  // namespace zwmgmt
