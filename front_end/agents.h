/// "agents list|add|remove|scan": the file of the known agents.
#pragma once

#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"

namespace zwcli {

/// words: what follows "agents".
ExitStatus AgentsCommand(const Options& options, const std::vector<std::string>& words);

}  // namespace zwcli
