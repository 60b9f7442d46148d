/// "policy check FILE [KEY=VALUE ...]": compiles a policy file and explains what it does, without
/// any agent.
#pragma once

#include <vector>

#include "front_end/exit_status.h"

namespace zwcli {

/// words: what follows "policy".
ExitStatus PolicyCommand(const std::vector<const char*>& words);

}  // namespace zwcli
