/// One command against one agent.
#pragma once

#include "front_end/answer.h"
#include "front_end/options.h"
#include "front_end/password.h"

namespace zwcli {

/// Whether the agent carries out the command in the background, so that it can be waited for.
bool RunsInBackground(const Client_Request_Message& request);

/// Connects, logs in, asks and prints the answer in the format of the options.
ExitStatus RunRemotely(const Options& options, Passwords& passwords,
                       Client_Request_Message* request);

/// What there is to print of one run.
struct Outcome {
    Answer answer;
    std::string text;               // of the format text
    std::vector<std::string> said;  // for standard error
};

/// The same without printing, until somebody asks for a stop.
Outcome RunQuietly(const Options& options, Passwords& passwords, Client_Request_Message* request,
                   const zwmgmt::Stop& stop);

/// The same for a command that the library answers itself.
ExitStatus RunLocally(const Options& options, Client_Request_Message* request);

}  // namespace zwcli
