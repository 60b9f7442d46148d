/// What a managed host takes: ranges, words and names, which the library leaves to the agent.
#pragma once

#include <cstdint>
#include <string_view>

#include "zwmgmt/records/filter.h"
#include "zwmgmt/records/net.h"
#include "zwmgmt/records/policy.h"

namespace zwmgmt::agent {

bool IsSound(const _Filter& rule);
bool IsSound(const _FilterX4& rule);

/// Program and settings; the rest depends on what is to be done with them.
bool IsSound(const _OfldPolicy& policy);

/// The target, and what a ping says besides.
bool IsSound(const PingRequest& request, bool ping);

}  // namespace zwmgmt::agent
