/// Commands against one agent, one after the other on one session.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "front_end/agent_session.h"
#include "front_end/answer.h"
#include "front_end/command_run.h"
#include "front_end/options.h"
#include "front_end/password.h"

namespace zwcli {

/// Words that make a request.
struct Command {
    std::vector<std::string> words;
    uint8_t service = 0;
    uint16_t number = 0;  // among the service's commands
    size_t line = 0;      // of the batch; 0: of the command line
    std::string place;    // "FILE:12"; "" on the command line
};

/// Connects, logs in, asks and prints each answer in the format of the options. The exit status is
/// that of the first command that failed, which is the last; with --keep-going the worst.
ExitStatus RunRemotely(const Options& options, Passwords& passwords,
                       const std::vector<Command>& commands);

/// What there is to print of one host.
struct Outcome {
    ExitStatus exit_status = kOk;
    std::vector<Answer> answers;    // one at least; the commands behind the last were not run
    std::string text;               // of the format text
    std::vector<std::string> said;  // for standard error
};

/// Fills the numbers of a command that has its words; what is wrong with them, or "".
std::string TakeCommand(const Options& options, Command* command);

/// An answer to the command that nothing is known of yet.
Answer AnswerTo(const Command& command);

/// The same without printing, until somebody asks for a stop.
Outcome RunQuietly(const Options& options, Passwords& passwords,
                   const std::vector<Command>& commands, const zwmgmt::Stop& stop);

/// A session for commands that come one by one (with --keep-going). Once it is lost it serves no
/// others.
class Conversation {
  public:
    /// Aloud, answers are printed as RunRemotely would; quietly, the outcome has what there is to
    /// print. All but the voice outlive it; the stop ends what is waited for, and with it the
    /// session.
    Conversation(const Options& options, Passwords& passwords, const zwmgmt::Stop& stop,
                 Teller::Voice voice);
    ~Conversation();  // logs out
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /// Connects and logs in, which the first command would do as well.
    ExitStatus Open();
    Outcome Execute(const Command& command);
    AgentSession& Session();

  private:
    struct Parts;
    const std::unique_ptr<Parts> parts;
};

/// RunRemotely for a command that the library answers itself.
ExitStatus RunLocally(const Options& options, const Command& command);

}  // namespace zwcli
