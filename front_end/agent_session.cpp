#include "front_end/agent_session.h"

#include <algorithm>
#include <thread>

namespace zwcli {
namespace {

constexpr std::chrono::milliseconds kLongestPause{2000};

std::string NumberOf(uint32_t status) { return " (status " + std::to_string(status) + ")"; }

}  // namespace

std::string StatusWords(uint32_t status) { return zwmgmt::StatusText(status) + NumberOf(status); }

std::string WithoutEnd(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return text;
}

AgentSession::AgentSession(const Options& run_options, Passwords& run_passwords, Teller& run_teller,
                           const zwmgmt::Stop* run_stop)
    : options(run_options),
      passwords(run_passwords),
      teller(run_teller),
      stop(run_stop),
      result_buffer(zwmgmt::kResultBufferSize),
      trust(run_options),
      trace(run_options) {
    using Lists = zwmgmt::Talk::Lists;
    if (options.format != Format::kText) {
        talk.emplace(library, Lists::kHandedOut);
    } else if (teller.IsQuiet()) {
        talk.emplace(library, Lists::kPrinted);
    }
    library.SetConnectTimeout(options.connect_timeout);
    library.SetStop(stop);
}

ExitStatus AgentSession::Open() {
    if (was_opened) return kOk;
    was_tried = true;
    ExitStatus done = Connect();
    if (done == kOk && library.LoginRequired()) done = LogIn();
    if (done == kOk) done = FetchCapabilities();
    was_opened = done == kOk;
    return done;
}

ExitStatus AgentSession::GivenUp() {
    if (stop->IsAsked()) return teller.Fail(kInterrupted, "interrupted");
    return teller.Fail(kNoSession, "not done in the time that --timeout gives");
}

ExitStatus AgentSession::Lost(uint32_t status) {
    teller.Current().status = status;
    if (IsGivenUp()) return GivenUp();
    const std::string detail = library.FailureDetail();
    if (detail.empty()) {
        return teller.Fail(kNoSession,
                           "connection to " + Agent() + " lost: " + StatusWords(status));
    }
    return teller.Fail(kNoSession,
                       "the session with " + Agent() + " was ended: " + detail + NumberOf(status));
}

ExitStatus AgentSession::Connect() {
    for (const std::string& reason : {trace.Follow(library), trust.Guard(library)}) {
        if (!reason.empty()) return teller.Fail(kUsage, reason);
    }
    const uint32_t status = TryToConnect();
    teller.Current().status = status;
    for (const std::string& note : trust.Notes()) teller.NoteOfSession(note);
    if (status == zwmgmt::kSuccess) return kOk;
    if (!trust.Refusal().empty()) return teller.Fail(kNoSession, trust.Refusal());
    if (IsGivenUp()) return GivenUp();
    if (status == zwmgmt::kNoReadWriteToken) {
        return teller.Fail(kNoSession, "No read write token available");
    }
    std::string detail = library.FailureDetail();
    if (!detail.empty()) detail = ": " + detail;
    return teller.Fail(kNoSession, "cannot open a session with " + Agent() + ": " +
                                       zwmgmt::StatusText(status) + detail + NumberOf(status));
}

/// Nothing of a command is sent before there is a session: connecting can be tried again.
uint32_t AgentSession::TryToConnect() {
    std::chrono::milliseconds pause(100);
    for (uint32_t retries = options.retries;; --retries) {
        const uint32_t status = library.CLConnectToServer(
            options.host.c_str(), options.user->c_str(), options.port, ResultBuffer());
        if (status == zwmgmt::kSuccess || status == zwmgmt::kAgentNotTrusted || retries == 0 ||
            !Pause(&pause)) {
            return status;
        }
    }
}

bool AgentSession::Pause(std::chrono::milliseconds* pause) {
    const auto end = std::chrono::steady_clock::now() + *pause;
    *pause = std::min(2 * *pause, kLongestPause);
    while (!IsGivenUp() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return !IsGivenUp();
}

ExitStatus AgentSession::LogIn() {
    const std::string no_password = passwords.Give(library, options.host);
    if (!no_password.empty()) return teller.Fail(kNotLoggedIn, no_password);
    const uint32_t status = library.CLAuthenticateUser(ResultBuffer());
    teller.Current().status = status;
    if (status == zwmgmt::kSuccess) return kOk;
    if (status == zwmgmt::kLoginRejected || status == zwmgmt::kLoginFailed) {
        return teller.Fail(kNotLoggedIn,
                           "Authentication failed, please check username or password");
    }
    return Lost(status);
}

ExitStatus AgentSession::FetchCapabilities() {
    const uint32_t status = library.FetchCapabilities(ResultBuffer());
    if (!library.Connected()) return Lost(status);
    knows_capabilities = status == zwmgmt::kSuccess;
    if (!knows_capabilities) {
        const bool cut = status == zwmgmt::kReadError;
        teller.Note(
            std::string("warning: the agent ") +
            (cut ? "sent a capabilities record that is cut" : "refused to tell its capabilities") +
            NumberOf(status) + "; compatibility is not checked");
    }
    return kOk;
}

ExitStatus AgentSession::CheckCompatibility(const Client_Request_Message& request) {
    if (!knows_capabilities) return kOk;
    const Capabilities capabilities = library.AgentCapabilities();
    if (library.Validate_Server_APIVersion_Capabilities(&capabilities, request.service,
                                                        request.command) == 0) {
        return kOk;
    }
    teller.Current().status = zwmgmt::kIncompatible;
    return teller.Fail(kUnsupported, WithoutEnd(library.ErrorText()));
}

std::string AgentSession::NewTraceFailure() {
    if (trace_failure_is_said || trace.Failure().empty()) return "";
    trace_failure_is_said = true;
    return trace.Failure();
}

}  // namespace zwcli
