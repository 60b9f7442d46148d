/// What korvane_zwcli has to say of its own words and the library's.
#pragma once

#include <string>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"

namespace zwcli {

/// "help [SERVICE [COMMAND]]"; words: what follows "help".
ExitStatus HelpCommand(const Options& options, const std::vector<std::string>& words);

/// What is wrong with words of which the library makes no request, the front end's own considered.
std::string ComplaintAbout(const std::vector<const char*>& words);

}  // namespace zwcli
