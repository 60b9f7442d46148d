/// The hosts that can be named where a command line is completed.
#pragma once

#include "front_end/completion.h"
#include "front_end/options.h"

namespace zwcli {

/// Those whose keys are known, and those of the groups of the settings; reads the first from their
/// file.
void AddHosts(const Options& options, CompletionSources* sources);

}  // namespace zwcli
