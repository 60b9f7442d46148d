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
    /// The password may still be empty; it is wiped once it is sent.
    Run(const Options& run_options, Secret& given_password)
        : options(run_options),
          password(given_password),
          result_buffer(zwmgmt::kResultBufferSize),
          trust(run_options),
          trace(run_options) {
        if (options.format != Format::kText) talk.emplace(session);
    }
    ~Run() { session.CLDisconnectFromServer(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    ExitStatus Execute(Client_Request_Message* request) {
        answer.exit_status = Converse(request);
        if (!trace.Failure().empty()) {
            Note(trace.Failure());
            if (answer.exit_status == kOk) answer.exit_status = kFailed;
        }
        if (options.format != Format::kText) Report(*request);
        return answer.exit_status;
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

    void Report(const Client_Request_Message& request) {
        answer.agent_os = options.agent_os != 0 ? options.agent_os : session.OsType();
        if (answer.result) answer.status = answer.result->status;
        const bool json = options.format == Format::kJson || options.format == Format::kJsonLines;
        for (std::string& line : talk->Lines()) {
            if (!json) Say(line);
            answer.messages.push_back(std::move(line));
        }
        PrintAnswer(options, request, answer);
    }

    /// Says why there is no answer, or why it is no success.
    ExitStatus Fail(ExitStatus exit_status, const std::string& text) {
        answer.message = text;
        Say(text);
        return exit_status;
    }

    std::string Agent() const { return options.host + " port " + std::to_string(options.port); }

    ExitStatus Lost(uint32_t status) {
        answer.status = status;
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
            if (!reason.empty()) return Fail(kNoSession, reason);
        }
        const uint32_t status = session.CLConnectToServer(
            options.host.c_str(), options.user->c_str(), options.port, result_buffer.data());
        answer.status = status;
        for (const std::string& note : trust.Notes()) Note(note);
        if (status == zwmgmt::kSuccess) return kOk;
        if (!trust.Refusal().empty()) return Fail(kNoSession, trust.Refusal());
        if (status == zwmgmt::kNoReadWriteToken) {
            return Fail(kNoSession, "No read write token available");
        }
        std::string detail = session.FailureDetail();
        if (!detail.empty()) detail = ": " + detail;
        return Fail(kNoSession, "cannot open a session with " + Agent() + ": " +
                                    zwmgmt::StatusText(status) + detail + NumberOf(status));
    }

    ExitStatus LogIn() {
        std::string error;
        if (password.Empty() && !ReadStoredPassword(*options.user, &password, &error)) {
            return Fail(kNotLoggedIn, error);
        }
        if (password.Empty() &&
            !AskForPassword("Password of " + *options.user + " for " + options.host + ": ",
                            &password, &error)) {
            return Fail(kNotLoggedIn, error);
        }
        session.SetPassword(password.Text());
        password.Wipe();
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
        preview.emplace(session, request, os_type);
        if (preview->Refused()) return Refused(*preview);
        SayNotes(*preview);
        if (preview->MessageCount() == 0) {
            answer.status = zwmgmt::kNotForThisAgent;
            return Fail(kUnsupported, zwmgmt::StatusText(answer.status));
        }
        answer.dry_run.emplace(*preview, WrittenArguments(options.words), request->command);
        answer.message = "nothing was sent";
        if (options.format == Format::kText) std::fputs(answer.dry_run->Text().c_str(), stdout);
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
            std::this_thread::sleep_for(pause);
            pause = std::min(2 * pause, kLongestPause);
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
    Secret& password;
    std::vector<char> result_buffer;
    uint32_t last_result = zwmgmt::kSuccess;  // of a question for an outcome
    uint32_t last_status = zwmgmt::kSuccess;  // of the last answer
    Trust trust;
    Trace trace;
    ZwMgmt_interface session;
    std::optional<zwmgmt::ArgumentNotes> preview;
    std::optional<zwmgmt::Talk> talk;  // unless the library's own text is asked for
    Answer answer;
};

}  // namespace

bool RunsInBackground(const Client_Request_Message& request) {
    return !QuestionFor(request).empty();
}

ExitStatus RunRemotely(const Options& options, Secret& password, Client_Request_Message* request) {
    return Run(options, password).Execute(request);
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
        PrintAnswer(options, *request, answer);
    }
    session.CLDisconnectFromServer();
    return answer.exit_status;
}

}  // namespace zwcli
