/// One command at many hosts at once.
#pragma once

#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "front_end/password.h"
#include "front_end/target.h"

namespace zwcli {

/// The options' words, of which the library makes a request, at every host. The first request to
/// stop (Ctrl-C) ends what runs and keeps what is done.
ExitStatus RunOnMany(const Options& options, const std::vector<Target>& hosts,
                     Passwords& passwords);

}  // namespace zwcli
