/// Commands against one agent, one after the other on one session.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

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

Command CommandFor(const std::vector<std::string>& words, const Client_Request_Message& request);

/// An answer to the command that nothing is known of yet.
Answer AnswerTo(const Command& command);

/// The same without printing, until somebody asks for a stop.
Outcome RunQuietly(const Options& options, Passwords& passwords,
                   const std::vector<Command>& commands, const zwmgmt::Stop& stop);

/// The same for one command again and again, on one session (with --keep-going).
class RepeatedRun {
  public:
    RepeatedRun(const Options& options, Passwords& passwords, const zwmgmt::Stop& stop);
    ~RepeatedRun();  // logs out
    RepeatedRun(const RepeatedRun&) = delete;
    RepeatedRun& operator=(const RepeatedRun&) = delete;

    Outcome Execute(const Command& command);
    /// Whether the session can serve no more.
    bool IsLost() const;

  private:
    struct Parts;
    const std::unique_ptr<Parts> parts;
};

/// The same for a command that the library answers itself.
ExitStatus RunLocally(const Options& options, const Command& command);

}  // namespace zwcli
