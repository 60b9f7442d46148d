/// "hosts EXPRESSION ...", "hosts fold EXPRESSION ...": what a set of hosts means.
#pragma once

#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/host_set.h"
#include "front_end/options.h"

namespace zwcli {

/// words: what follows "hosts".
ExitStatus HostsCommand(const Options& options, const std::vector<std::string>& words);

/// Takes out what --exclude names; what is wrong with it, or "".
std::string Exclude(const Options& options, HostSet* set);

/// The hosts that --hosts and --exclude mean, if given; what is wrong with them, or "".
std::string TargetsOf(const Options& options, std::vector<Target>* targets);

}  // namespace zwcli
