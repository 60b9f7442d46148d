/// One command at one host, again and again.
#pragma once

#include <string>

#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "front_end/password.h"
#include "front_end/run.h"

namespace zwcli {

/// Why the request cannot be watched as the options have it, or "".
std::string WrongWatch(const Options& options, Client_Request_Message* request);

/// Until somebody asks for a stop, which ends with the status of the last round, or until all
/// rounds are done, which ends with that of the worst.
ExitStatus Watch(const Options& options, Passwords& passwords, const Command& command);

}  // namespace zwcli
