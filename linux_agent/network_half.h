/// The half that talks to the network: TLS, messages, and questions to the privileged half.
#pragma once

#include <vector>

#include "linux_agent/config.h"

namespace zmagent {

/// Serves clients of the listening sockets until the control line ends. The exit status; what goes
/// wrong is said on standard error.
int ServeNetwork(const Config& config, int control, const std::vector<int>& listening);

}  // namespace zmagent
