#include "front_end/run.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commands/routes.h"
#include "commands/talk.h"
#include "front_end/exit_status.h"
#include "front_end/say.h"
#include "front_end/trace.h"
#include "front_end/trust.h"
#include "zwmgmt/argument_notes.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// The words that ask for the outcome of what runs in the background; empty for other commands.
std::vector<std::string> QuestionFor(const Client_Request_Message& request) {
    const zwmgmt::Route* route = zwmgmt::FindRoute(request.service, request.command);
    std::istringstream text(route != nullptr && route->question != nullptr ? route->question : "");
    return {std::istream_iterator<std::string>(text), {}};
}

zwmgmt::CommandWords CommandOf(const std::vector<std::string>& words) {
    const std::vector<const char*> pointers = PointersTo(words);
    return zwmgmt::CommandWords(pointers.data(), pointers.size());
}

/// What stands behind service and command.
std::string WrittenArguments(const std::vector<std::string>& words) {
    std::string written;
    for (size_t i = 2; i < words.size(); ++i) written += (i > 2 ? " " : "") + words[i];
    return written;
}

/// Whether the request itself only asks for an outcome.
bool IsQuestion(const Client_Request_Message& request) {
    const std::vector<std::string> words = QuestionFor(request);
    if (words.empty()) return false;
    zwmgmt::CommandWords command = CommandOf(words);
    const Client_Request_Message* question = command.Request();
    return question != nullptr && request.command == question->command &&
           request.argument_count == question->argument_count &&
           (request.argument_count == 0 || request.arguments[0].key == question->arguments[0].key);
}

/// One run against one agent.
class Run {
  public:
    enum class Voice { kAloud, kQuiet };

    Run(const Options& run_options, Passwords& run_passwords, Voice run_voice,
        const zwmgmt::Stop* run_stop)
        : options(run_options),
          passwords(run_passwords),
          is_quiet(run_voice == Voice::kQuiet),
          stop(run_stop),
          result_buffer(zwmgmt::kResultBufferSize),
          trust(run_options),
          trace(run_options) {
        using Lists = zwmgmt::Talk::Lists;
        if (options.format != Format::kText) {
            talk.emplace(session, Lists::kHandedOut);
        } else if (is_quiet) {
            talk.emplace(session, Lists::kPrinted);
        }
        session.SetConnectTimeout(options.connect_timeout);
        session.SetStop(stop);
    }
    ~Run() { session.CLDisconnectFromServer(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    Outcome Execute(Client_Request_Message* request) {
        answer.exit_status = Converse(request);
        if (!trace.Failure().empty()) {
            Note(trace.Failure());
            if (answer.exit_status == kOk) answer.exit_status = kFailed;
        }
        if (options.format != Format::kText) {
            Report();
        } else if (is_quiet) {
            KeepText();
        }
        return std::move(outcome);
    }

  private:
    ExitStatus Converse(Client_Request_Message* request) {
        // What no agent would get is told without asking one.
        if (const zwmgmt::ArgumentNotes notes(session, request); notes.Refused()) {
            return Refused(notes);
        }
        if (options.agent_os != 0) return Show(request, options.agent_os);
        ExitStatus done = Connect();
        if (done == kOk && session.LoginRequired()) done = LogIn();
        if (done == kOk) done = CheckCompatibility(*request);
        if (done == kOk) {
            done = options.dry_run                              ? Show(request, session.OsType())
                   : options.wait && RunsInBackground(*request) ? SendAndWait(request)
                                                                : Send(request);
        }
        session.CLLogOut();
        return done;
    }

    /// What was printed of a host that gave no answer is said of it.
    void KeepText() {
        const ExitStatus status = answer.exit_status;
        if (status != kNoSession && status != kNotLoggedIn && status != kInterrupted) {
            outcome.text = talk->Text();
            return;
        }
        const std::vector<std::string> lines = talk->Lines();
        outcome.said.insert(outcome.said.begin(), lines.begin(), lines.end());
    }

    void Report() {
        answer.agent_os = options.agent_os != 0 ? options.agent_os : session.OsType();
        if (answer.result) answer.status = answer.result->status;
        const bool json = options.format == Format::kJson || options.format == Format::kJsonLines;
        for (std::string& line : talk->Lines()) {
            if (!json) Say(line);
            answer.messages.push_back(std::move(line));
        }
        if (json) return;
        for (const std::string& remark : RemarksOf(answer)) Say(remark);
    }

    void Say(const std::string& text) {
        if (is_quiet) {
            outcome.said.push_back(text);
        } else {
            zwcli::Say(text);
        }
    }

    /// Says why there is no answer, or why it is no success.
    ExitStatus Fail(ExitStatus exit_status, const std::string& text) {
        answer.message = text;
        Say(text);
        return exit_status;
    }

    std::string Agent() const { return options.host + " port " + std::to_string(options.port); }

    /// Where the session was given up: why.
    ExitStatus GivenUp() {
        if (stop->IsAsked()) return Fail(kInterrupted, "interrupted");
        return Fail(kNoSession, "not done in the time that --timeout gives");
    }
    bool IsGivenUp() const { return stop != nullptr && stop->IsReached(); }

    ExitStatus Lost(uint32_t status) {
        answer.status = status;
        if (IsGivenUp()) return GivenUp();
        const std::string detail = session.FailureDetail();
        if (detail.empty()) {
            return Fail(kNoSession, "connection to " + Agent() + " lost: " + Words(status));
        }
        return Fail(kNoSession,
                    "the session with " + Agent() + " was ended: " + detail + NumberOf(status));
    }

    static std::string NumberOf(uint32_t status) {
        return " (status " + std::to_string(status) + ")";
    }

    static std::string Words(uint32_t status) {
        return zwmgmt::StatusText(status) + NumberOf(status);
    }

    ExitStatus Connect() {
        for (const std::string& reason : {trace.Follow(session), trust.Guard(session)}) {
            if (!reason.empty()) return Fail(kUsage, reason);
        }
        const uint32_t status = TryToConnect();
        answer.status = status;
        for (const std::string& note : trust.Notes()) Note(note);
        if (status == zwmgmt::kSuccess) return kOk;
        if (!trust.Refusal().empty()) return Fail(kNoSession, trust.Refusal());
        if (IsGivenUp()) return GivenUp();
        if (status == zwmgmt::kNoReadWriteToken) {
            return Fail(kNoSession, "No read write token available");
        }
        std::string detail = session.FailureDetail();
        if (!detail.empty()) detail = ": " + detail;
        return Fail(kNoSession, "cannot open a session with " + Agent() + ": " +
                                    zwmgmt::StatusText(status) + detail + NumberOf(status));
    }

    /// Nothing of the command is sent before there is a session: connecting can be tried again.
    uint32_t TryToConnect() {
        std::chrono::milliseconds pause(100);
        for (uint32_t retries = options.retries;; --retries) {
            const uint32_t status = session.CLConnectToServer(
                options.host.c_str(), options.user->c_str(), options.port, result_buffer.data());
            if (status == zwmgmt::kSuccess || status == zwmgmt::kAgentNotTrusted || retries == 0 ||
                !Pause(&pause)) {
                return status;
            }
        }
    }

    /// Lets time pass, each time more; false where it is not to be waited for.
    bool Pause(std::chrono::milliseconds* pause) {
        const auto end = std::chrono::steady_clock::now() + *pause;
        *pause = std::min(2 * *pause, kLongestPause);
        while (!IsGivenUp() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return !IsGivenUp();
    }

    ExitStatus LogIn() {
        const std::string no_password = passwords.Give(session);
        if (!no_password.empty()) return Fail(kNotLoggedIn, no_password);
        const uint32_t status = session.CLAuthenticateUser(result_buffer.data());
        answer.status = status;
        if (status == zwmgmt::kSuccess) return kOk;
        if (status == zwmgmt::kLoginRejected || status == zwmgmt::kLoginFailed) {
            return Fail(kNotLoggedIn, "Authentication failed, please check username or password");
        }
        return Lost(status);
    }

    ExitStatus CheckCompatibility(const Client_Request_Message& request) {
        const uint32_t status = session.FetchCapabilities(result_buffer.data());
        if (!session.Connected()) return Lost(status);
        if (status != zwmgmt::kSuccess) {
            const bool cut = status == zwmgmt::kReadError;
            Note(std::string("warning: the agent ") +
                 (cut ? "sent a capabilities record that is cut"
                      : "refused to tell its capabilities") +
                 " (status " + std::to_string(status) + "); compatibility is not checked");
            return kOk;
        }
        const Capabilities capabilities = session.AgentCapabilities();
        if (session.Validate_Server_APIVersion_Capabilities(&capabilities, request.service,
                                                            request.command) == 0) {
            return kOk;
        }
        answer.status = zwmgmt::kIncompatible;
        return Fail(kUnsupported, WithoutEnd(session.ErrorText()));
    }

    static std::string WithoutEnd(std::string text) {
        while (text.ends_with('\n')) text.pop_back();
        return text;
    }

    void Note(const std::string& text) {
        answer.messages.push_back(text);
        Say(text);
    }

    /// Says what is sent otherwise than written, or what a refused entry may be.
    void SayNotes(const zwmgmt::ArgumentNotes& notes) {
        for (size_t i = 0; i < notes.Count(); ++i) {
            const bool warning = notes[i].severity == zwmgmt::ArgumentNote::kWarning;
            Note(std::string(warning ? "warning: " : "") + notes[i].text);
        }
    }

    ExitStatus Send(Client_Request_Message* request) {
        const zwmgmt::ArgumentNotes notes(session, request);
        if (notes.Refused()) return Refused(notes);
        SayNotes(notes);
        return Explain(*request, Ask(request));
    }

    /// Tells what would be sent.
    ExitStatus Show(Client_Request_Message* request, uint8_t os_type) {
        auto notes = std::make_unique<zwmgmt::ArgumentNotes>(session, request, os_type);
        if (notes->Refused()) return Refused(*notes);
        SayNotes(*notes);
        if (notes->MessageCount() == 0) {
            answer.status = zwmgmt::kNotForThisAgent;
            return Fail(kUnsupported, zwmgmt::StatusText(answer.status));
        }
        answer.dry_run.emplace(std::move(notes), WrittenArguments(options.words), request->command);
        answer.message = "the request was not sent";
        if (options.format == Format::kText) {
            session.PrintOutput("%s", answer.dry_run->Text().c_str());
        }
        return kOk;
    }

    ExitStatus Refused(const zwmgmt::ArgumentNotes& notes) {
        answer.status = zwmgmt::kRequestRefused;
        if (options.format == Format::kText) {
            session.PrintOutput("%s", notes.RefusalText());
        } else {
            answer.message = WithoutEnd(notes.RefusalText());
            Say(answer.message);
        }
        SayNotes(notes);
        return kUsage;
    }

    /// Returns what the library returns; the agent's own status is then in last_status.
    uint32_t Ask(Client_Request_Message* request) {
        if (options.format != Format::kText) {
            Keep(std::make_unique<zwmgmt::ResultParts>(session, request, result_buffer.data()));
            return answer.result->returned;
        }
        const auto returned = static_cast<uint32_t>(
            session.Client_ProcessRequest(request, result_buffer.data(), nullptr));
        last_status = session.LastStatus();
        return returned;
    }

    void Keep(std::unique_ptr<zwmgmt::ResultParts> result) {
        last_status = result->status;
        answer.result = std::move(result);
    }

    ExitStatus Explain(const Client_Request_Message& request, uint32_t result) {
        ExitStatus done = ExitStatusOf(result, last_status);
        // An agent that is busy with another operation has refused to begin this one.
        if (done == kNotFinished && !IsQuestion(request)) done = kFailed;
        if (done == kNoSession) return Lost(result);
        if (result == zwmgmt::kNotForThisAgent) Say(zwmgmt::StatusText(result));
        if (result == zwmgmt::kRequestRefused && session.FailureDetail()[0] != '\0') {
            Note(session.FailureDetail());
        }
        if (result == zwmgmt::kSuccess && done != kOk) {
            Say("the agent answered: " + Words(last_status));
        }
        return done;
    }

    ExitStatus SendAndWait(Client_Request_Message* request) {
        const ExitStatus started = IsQuestion(*request) ? kOk : Send(request);
        if (started != kOk) return started;
        const std::vector<std::string> words = QuestionFor(*request);
        zwmgmt::CommandWords question = CommandOf(words);
        if (question.Request() == nullptr) return Fail(kFailed, question.Error());
        std::fflush(stdout);
        for (std::chrono::milliseconds pause(100); !HasOutcome(question.Request());) {
            if (!Pause(&pause)) return GivenUp();
        }
        return Explain(*question.Request(), last_result);
    }

    /// Asks once; only an outcome is printed.
    bool HasOutcome(Client_Request_Message* question) {
        if (options.format != Format::kText) {
            last_result = Ask(question);
            return ExitStatusOf(last_result, last_status) != kNotFinished;
        }
        _Message message = {};
        void* reply = nullptr;
        session.SetBuildListMode();
        last_result = static_cast<uint32_t>(
            session.Client_ProcessRequest(&message, question, result_buffer.data(), &reply));
        session.ResetBuildListMode();
        const bool has_outcome = ExitStatusOf(last_result, message.status) != kNotFinished;
        if (has_outcome && last_result == zwmgmt::kSuccess) {
            session.CLPrint(reply, question->command, &message);
        }
        ZwMgmt_interface::CLFreeMem(question->command, reply);
        last_status = session.LastStatus();
        return has_outcome;
    }

    static constexpr std::chrono::milliseconds kLongestPause{2000};

    const Options& options;
    Passwords& passwords;
    const bool is_quiet;
    const zwmgmt::Stop* const stop;  // null: nothing ends it
    std::vector<char> result_buffer;
    uint32_t last_result = zwmgmt::kSuccess;  // of a question for an outcome
    uint32_t last_status = zwmgmt::kSuccess;  // of the last answer
    Trust trust;
    Trace trace;
    ZwMgmt_interface session;
    std::optional<zwmgmt::Talk> talk;  // unless the session prints by itself
    Outcome outcome;
    Answer& answer = outcome.answer;
};

}  // namespace

bool RunsInBackground(const Client_Request_Message& request) {
    return !QuestionFor(request).empty();
}

ExitStatus RunRemotely(const Options& options, Passwords& passwords,
                       Client_Request_Message* request) {
    using Clock = zwmgmt::Stop::Clock;
    const zwmgmt::Stop stop(Clock::now() + std::chrono::milliseconds(options.timeout));
    Run run(options, passwords, Run::Voice::kAloud, options.timeout != 0 ? &stop : nullptr);
    const Outcome outcome = run.Execute(request);
    if (options.format != Format::kText) PrintAnswer(options, *request, outcome.answer);
    return outcome.answer.exit_status;
}

Outcome RunQuietly(const Options& options, Passwords& passwords, Client_Request_Message* request,
                   const zwmgmt::Stop& stop) {
    return Run(options, passwords, Run::Voice::kQuiet, &stop).Execute(request);
}

ExitStatus RunLocally(const Options& options, Client_Request_Message* request) {
    std::vector<char> buffer(zwmgmt::kResultBufferSize);
    ZwMgmt_interface session;
    Answer answer;
    if (options.format == Format::kText) {
        const int failed = session.Client_ProcessRequest(request, buffer.data(), nullptr);
        answer.exit_status = failed == 0 ? kOk : kFailed;
    } else {
        answer.result = std::make_unique<zwmgmt::ResultParts>(session, request, buffer.data());
        answer.exit_status = answer.result->returned == 0 ? kOk : kFailed;
        const bool json = options.format == Format::kJson || options.format == Format::kJsonLines;
        for (const std::string& remark : RemarksOf(answer)) {
            if (!json) Say(remark);
        }
        PrintAnswer(options, *request, answer);
    }
    session.CLDisconnectFromServer();
    return answer.exit_status;
}

}  // namespace zwcli
