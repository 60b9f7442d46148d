/// The way by which a client reaches the host.
#pragma once

#include <cstdint>
#include <set>

#include "linux_agent/host.h"
#include "linux_agent/interfaces.h"

namespace zmagent {

/// The interfaces that packets between the two come and go by, with those that they stand on: ports
/// of bridges and bonds, and what VLANs are of.
std::set<uint32_t> InterfacesBetween(Kernel& kernel, const Ends& ends);

}  // namespace zmagent
