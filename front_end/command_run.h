/// One command on a session, which may have served others before it.
#pragma once

#include <string>
#include <vector>

#include "front_end/agent_session.h"

namespace zwcli {

/// Whether the agent carries out the command in the background, so that it can be waited for.
bool RunsInBackground(const Client_Request_Message& request);

/// Such commands: "system install, net ping or net traceroute".
std::string BackgroundCommands(const std::string& conjunction);

/// Opens the session where it is not open yet, then asks, shows what would be sent, or waits, as
/// the options have it. The answer is the teller's; text is printed by the session.
ExitStatus RunCommand(const Options& options, AgentSession& session, Teller& teller,
                      const std::vector<std::string>& words, Client_Request_Message* request);

}  // namespace zwcli
