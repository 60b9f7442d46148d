/// The cage of the process that talks to the network.
#pragma once

#include <string>

#include "linux_agent/config.h"

namespace zmagent {

/// Gives up for good, before any thread runs: where the process is root's, the file system (an
/// empty folder is all there is), the user and all capabilities; new privileges, core dumps, and
/// every system call that serving clients does not need. False, with the reason in *error, when
/// that cannot be had.
bool EnterCage(const Config& config, std::string* error);

}  // namespace zmagent
