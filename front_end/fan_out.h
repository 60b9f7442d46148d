/// The same commands at many hosts at once.
#pragma once

#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "front_end/password.h"
#include "front_end/run.h"
#include "front_end/target.h"

namespace zwcli {

/// All the commands at every host, one after the other. The first request to stop (Ctrl-C) ends
/// what runs and keeps what is done.
ExitStatus RunOnMany(const Options& options, const std::vector<Command>& commands,
                     const std::vector<Target>& hosts, Passwords& passwords);

}  // namespace zwcli
