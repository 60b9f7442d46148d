/// A file of commands, one a line.
#pragma once

#include <string>
#include <vector>

#include "front_end/run.h"

namespace zwcli {

/// Reads and checks the whole batch of the options, as far as that takes no agent. Returns what is
/// wrong, a text a line of the file, each behind "FILE:LINE: ", or "".
std::string ReadBatch(const Options& options, std::vector<Command>* commands);

}  // namespace zwcli
