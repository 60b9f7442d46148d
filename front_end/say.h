/// What the front end itself has to say: on standard error, every line under its name.
#pragma once

#include <string>

#include "front_end/exit_status.h"

namespace zwcli {

void Say(const std::string& text);

/// Says it; the exit status is the caller's result.
ExitStatus Fail(ExitStatus exit_status, const std::string& text);

/// Warns of a file with secrets that other users can read.
void WarnIfOthersRead(const std::string& path);

}  // namespace zwcli
