/// One command against one agent.
#pragma once

#include "front_end/answer.h"
#include "front_end/options.h"
#include "front_end/password.h"

namespace zwcli {

/// Whether the agent carries out the command in the background, so that it can be waited for.
bool RunsInBackground(const Client_Request_Message& request);

/// Connects, logs in, asks and prints the answer in the format of the options. The password may
/// still be empty; it is wiped once it is sent.
ExitStatus RunRemotely(const Options& options, Secret& password, Client_Request_Message* request);

/// The same for a command that the library answers itself.
ExitStatus RunLocally(const Options& options, Client_Request_Message* request);

}  // namespace zwcli
