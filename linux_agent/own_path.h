/// The way by which a client reaches the host.
#pragma once

#include <cstdint>
#include <optional>
#include <set>

#include "linux_agent/host.h"
#include "linux_agent/interfaces.h"

namespace zmagent {

/// The interfaces that packets between the two come and go by, with those that they stand on: ports
/// of bridges and bonds, and what VLANs are of. Nothing where the kernel does not tell.
std::optional<std::set<uint32_t>> InterfacesBetween(Kernel& kernel, const Ends& ends);

}  // namespace zmagent
