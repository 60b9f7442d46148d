/// korvane_zwcli: one command line, one session, one exit status.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cli/texts.h"
#include "front_end/exit_status.h"
#include "front_end/help.h"
#include "front_end/options.h"
#include "front_end/password.h"
#include "front_end/policy_check.h"
#include "front_end/say.h"
#include "platform/host.h"
#include "platform/terminal.h"
#include "zwmgmt/argument_notes.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// A command that the agent carries out in the background, and the question for its outcome.
struct BackgroundRow {
    uint8_t service;
    uint16_t command;
    std::vector<const char*> question;
};

const BackgroundRow kBackground[] = {
    {zwmgmt::kNet, zwmgmt::kPing, {"net", "ping", "getresult"}},
    {zwmgmt::kNet, zwmgmt::kTraceRoute, {"net", "traceroute", "getresult"}},
    {zwmgmt::kSystem, zwmgmt::kInstall, {"system", "getinstallresult"}},
    {zwmgmt::kSystem, zwmgmt::kGetInstallResult, {"system", "getinstallresult"}},
};

const BackgroundRow* FindBackground(const Client_Request_Message& request) {
    const auto* row = std::ranges::find_if(kBackground, [&](const BackgroundRow& each) {
        return each.service == request.service && each.command == request.command;
    });
    return row != std::end(kBackground) ? row : nullptr;
}

/// Whether the request itself only asks for an outcome.
bool IsQuestion(const Client_Request_Message& request) {
    return request.command == zwmgmt::kGetInstallResult ||
           (request.service == zwmgmt::kNet && request.argument_count == 1 &&
            request.arguments[0].key == -1);
}

/// One run against one agent.
class Run {
  public:
    /// The password may still be empty; it is wiped once it is sent.
    Run(const Options& run_options, Secret& given_password)
        : options(run_options),
          password(given_password),
          result_buffer(zwmgmt::kResultBufferSize) {}
    ~Run() { session.CLDisconnectFromServer(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    ExitStatus Execute(Client_Request_Message* request) {
        ExitStatus done = Connect();
        if (done == kOk && session.LoginRequired()) done = LogIn();
        if (done == kOk) done = CheckCompatibility(*request);
        if (done == kOk) done = options.wait ? SendAndWait(request) : Send(request);
        session.CLLogOut();
        return done;
    }

  private:
    std::string Agent() const { return options.host + " port " + std::to_string(options.port); }

    ExitStatus Lost(uint32_t status) {
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
        const uint32_t status = session.CLConnectToServer(
            options.host.c_str(), options.user->c_str(), options.port, result_buffer.data());
        if (status == zwmgmt::kSuccess) return kOk;
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
            Say(std::string("warning: the agent ") +
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
        std::string refusal = session.ErrorText();
        while (refusal.ends_with('\n')) refusal.pop_back();
        return Fail(kUnsupported, refusal);
    }

    /// Says what is sent otherwise than written, or what a refused entry may be.
    static void SayNotes(const zwmgmt::ArgumentNotes& notes) {
        for (size_t i = 0; i < notes.Count(); ++i) {
            const bool warning = notes[i].severity == zwmgmt::ArgumentNote::kWarning;
            Say(std::string(warning ? "warning: " : "") + notes[i].text);
        }
    }

    ExitStatus Send(Client_Request_Message* request) {
        const zwmgmt::ArgumentNotes notes(session, request);
        if (!notes.Refused()) SayNotes(notes);
        const uint32_t result = Ask(request);
        if (!notes.Refused()) return Explain(*request, result);
        SayNotes(notes);
        return kUsage;
    }

    /// Returns what the library returns; the agent's own status is then the session's last.
    uint32_t Ask(Client_Request_Message* request) {
        return static_cast<uint32_t>(
            session.Client_ProcessRequest(request, result_buffer.data(), nullptr));
    }

    ExitStatus Explain(const Client_Request_Message& request, uint32_t result) {
        ExitStatus done = ExitStatusOf(result, session.LastStatus());
        // An agent that is busy with another operation has refused to begin this one.
        if (done == kNotFinished && !IsQuestion(request)) done = kFailed;
        if (done == kNoSession) return Lost(result);
        if (result == zwmgmt::kNotForThisAgent) Say(zwmgmt::StatusText(result));
        if (result == zwmgmt::kRequestRefused && session.FailureDetail()[0] != '\0') {
            Say(session.FailureDetail());
        }
        if (result == zwmgmt::kSuccess && done != kOk) {
            Say("the agent answered: " + Words(session.LastStatus()));
        }
        return done;
    }

    ExitStatus SendAndWait(Client_Request_Message* request) {
        const ExitStatus started = IsQuestion(*request) ? kOk : Send(request);
        if (started != kOk) return started;
        const auto& words = FindBackground(*request)->question;
        zwmgmt::CommandWords question(words.data(), words.size());
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
        return has_outcome;
    }

    static constexpr std::chrono::milliseconds kLongestPause{2000};

    const Options& options;
    Secret& password;
    std::vector<char> result_buffer;
    uint32_t last_result = zwmgmt::kSuccess;  // of a question for an outcome
    ZwMgmt_interface session;
};

/// A command that the library answers itself.
ExitStatus RunLocally(Client_Request_Message* request) {
    std::vector<char> result(zwmgmt::kResultBufferSize);
    ZwMgmt_interface session;
    const int failed = session.Client_ProcessRequest(request, result.data(), nullptr);
    session.CLDisconnectFromServer();
    return failed == 0 ? kOk : kFailed;
}

/// A command of the front end itself: it needs no agent.
ExitStatus Help(const std::vector<const char*>& words) {
    const std::string wrong = PrintHelpFor(words);
    return wrong.empty() ? kOk : Fail(kUsage, wrong);
}

ExitStatus Main(int argc, const char* const* argv) {
    Options options;
    if (const auto stop = ParseOptions(argc, argv, &options)) return static_cast<ExitStatus>(*stop);

    std::vector<const char*> words;
    for (const std::string& word : options.words) words.push_back(word.c_str());
    const bool asks_for_help = !words.empty() && zwmgmt::SameIgnoringCase(words[0], "help");
    if (asks_for_help) words.erase(words.begin());
    if (asks_for_help || options.help) return Help(words);
    if (!words.empty() && zwmgmt::SameIgnoringCase(words[0], "policy")) {
        return PolicyCommand({words.begin() + 1, words.end()});
    }
    zwmgmt::CommandWords command(words.data(), words.size());
    if (command.Request() == nullptr) return Fail(kUsage, ComplaintAbout(words));

    if (options.wait && FindBackground(*command.Request()) == nullptr) {
        return Fail(kUsage, "--wait is for net ping, net traceroute and system install");
    }
    if (ZwMgmt_interface::NeedsNoAgent(command.Request()->service, command.Request()->command)) {
        return RunLocally(command.Request());
    }
    if (!options.user) {
        char local_user[256] = {};
        if (!zwmgmt::platform::CurrentUserName(local_user, sizeof(local_user))) {
            return Fail(kUsage, "this machine does not know the current user; use --user");
        }
        options.user = local_user;
    }
    if (options.user->size() > sizeof(LoginRecord::user_name)) {
        return Fail(kUsage, "the user name is longer than 256 bytes");
    }
    Secret password;
    std::string error;
    if (options.password_file && !ReadPasswordFile(*options.password_file, &password, &error)) {
        return Fail(kUsage, error);
    }
    return Run(options, password).Execute(command.Request());
}

}  // namespace
}  // namespace zwcli

int main(int argc, char** argv) {
    zwmgmt::platform::PrepareStandardStreams();
    zwcli::ExitStatus status;
    try {
        status = zwcli::Main(argc, argv);
    } catch (const std::bad_alloc&) {
        status = zwcli::Fail(zwcli::kFailed, "out of memory");
    }
    // A listing that could not be written whole is no success.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        status = zwcli::Fail(status == zwcli::kOk ? zwcli::kFailed : status,
                             "cannot write to standard output");
    }
    return status;
}
