/// A session with one agent: opened once, then there for any number of commands.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "commands/talk.h"
#include "front_end/options.h"
#include "front_end/password.h"
#include "front_end/teller.h"
#include "front_end/trace.h"
#include "front_end/trust.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {

class AgentSession {
  public:
    /// What there is to say goes to the teller. stop: null where nothing ends the session.
    AgentSession(const Options& run_options, Passwords& run_passwords, Teller& run_teller,
                 const zwmgmt::Stop* run_stop);
    ~AgentSession() { library.CLDisconnectFromServer(); }
    AgentSession(const AgentSession&) = delete;
    AgentSession& operator=(const AgentSession&) = delete;

    /// Connects, logs in and asks what the agent is capable of, unless that is done.
    ExitStatus Open();
    /// Whether it could ever serve commands.
    bool WasOpened() const { return was_opened; }
    /// Whether no command can be served any more, or none could ever be.
    bool IsLost() const { return was_tried && !(was_opened && library.Connected()); }
    void LogOut() { library.CLLogOut(); }

    /// Whether the agent can serve the command.
    ExitStatus CheckCompatibility(const Client_Request_Message& request);

    /// Says that the session was lost, with what the library returned.
    ExitStatus Lost(uint32_t status);
    /// Says why it was given up.
    ExitStatus GivenUp();
    /// Lets time pass, each time more; false where it is not to be waited for.
    bool Pause(std::chrono::milliseconds* pause);

    /// Why the trace lacks something, said once.
    std::string NewTraceFailure();

    ZwMgmt_interface& Library() { return library; }
    char* ResultBuffer() { return result_buffer.data(); }
    /// What the session would have printed; null where it prints by itself.
    zwmgmt::Talk* Talk() { return talk ? &*talk : nullptr; }

  private:
    ExitStatus Connect();
    uint32_t TryToConnect();
    ExitStatus LogIn();
    ExitStatus FetchCapabilities();
    bool IsGivenUp() const { return stop != nullptr && stop->IsReached(); }
    std::string Agent() const { return options.host + " port " + std::to_string(options.port); }

    const Options& options;
    Passwords& passwords;
    Teller& teller;
    const zwmgmt::Stop* const stop;
    std::vector<char> result_buffer;
    Trust trust;
    Trace trace;
    ZwMgmt_interface library{zwmgmt::kNoTrustStore};
    std::optional<zwmgmt::Talk> talk;
    bool was_tried = false;
    bool was_opened = false;
    bool knows_capabilities = false;
    bool trace_failure_is_said = false;
};

/// A status in words, and as the number.
std::string StatusWords(uint32_t status);

/// A text of the library's without its last line end.
std::string WithoutEnd(std::string text);

}  // namespace zwcli
