/// The settings of an offload policy.
#pragma once

namespace zwmgmt {

/// By PolicySettings::congestion.
inline constexpr const char* kCongestionWords[] = {"reno", "tahoe", "newreno", "highspeed"};

}  // namespace zwmgmt
