/// Commands that a person types, one after the other, at one agent.
#pragma once

#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "front_end/password.h"

namespace zwcli {

/// Logs in and takes commands until the person leaves, which is a success whatever became of the
/// commands.
ExitStatus RunShell(const Options& options, Passwords& passwords);

}  // namespace zwcli
