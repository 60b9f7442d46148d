/// korvane_zwcli: one command line, one session, one exit status.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "front_end/exit_status.h"
#include "front_end/options.h"
#include "front_end/password.h"
#include "front_end/policy_check.h"
#include "platform/file.h"
#include "platform/host.h"
#include "platform/terminal.h"
#include "zwmgmt/help.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// Everything the front end itself has to say goes to standard error.
void Say(const std::string& text) {
    std::fflush(stdout);  // in order, where both go to one place
    std::fprintf(stderr, "korvane_zwcli: %s\n", text.c_str());
}

ExitStatus Fail(ExitStatus exit_status, const std::string& text) {
    Say(text);
    return exit_status;
}

/// The user's password in the credentials file, or none.
Secret StoredPassword(const std::string& user) {
    constexpr int kNoFile = -3;
    std::string word(sizeof(LoginRecord::password) + 1, '\0');
    const int found = ZwMgmt_interface::CLGetPassword(user.c_str(), word.data());
    if (found == kNoFile) return Secret();
    char path[4096];
    if (ZwMgmt_interface::GetZMFileName(zwmgmt::kCredentialsFile, path, sizeof(path)) == 0 &&
        zwmgmt::platform::ReadableByOthers(path)) {
        Say(std::string("warning: other users can read ") + path);
    }
    word.resize(std::strlen(word.c_str()));
    return Secret(std::move(word));  // empty without a pair
}

/// One run against one agent.
class Run {
  public:
    Run(const Options& run_options, Secret given_password)
        : options(run_options),
          password(std::move(given_password)),
          result_buffer(zwmgmt::kResultBufferSize) {}
    ~Run() { session.CLDisconnectFromServer(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    ExitStatus Execute(Client_Request_Message* request) {
        ExitStatus done = Connect();
        if (done == kOk && session.LoginRequired()) done = LogIn();
        if (done == kOk) done = CheckCompatibility(*request);
        if (done == kOk) done = Send(request);
        session.CLLogOut();
        return done;
    }

  private:
    std::string Agent() const { return options.host + " port " + std::to_string(options.port); }

    ExitStatus Lost(uint32_t status) {
        return Fail(kNoSession, "connection to " + Agent() + " lost: " + Words(status));
    }

    static std::string Words(uint32_t status) {
        return zwmgmt::StatusText(status) + std::string(" (status ") + std::to_string(status) + ")";
    }

    ExitStatus Connect() {
        const uint32_t status = session.CLConnectToServer(
            options.host.c_str(), options.user->c_str(), options.port, result_buffer.data());
        if (status == zwmgmt::kSuccess) return kOk;
        if (status == zwmgmt::kNoReadWriteToken) {
            return Fail(kNoSession, "No read write token available");
        }
        return Fail(kNoSession, "cannot open a session with " + Agent() + ": " + Words(status));
    }

    ExitStatus LogIn() {
        std::string error;
        if (password.Text().empty()) password = StoredPassword(*options.user);
        if (password.Text().empty() &&
            !AskForPassword("Password of " + *options.user + " for " + options.host + ": ",
                            &password, &error)) {
            return Fail(kNotLoggedIn, error);
        }
        if (session.SetPassword(password.Text().c_str()) != zwmgmt::kSuccess) {
            return Fail(kNotLoggedIn, "the password is longer than 64 bytes");
        }
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

    ExitStatus Send(Client_Request_Message* request) {
        _Message message = {};
        const auto result = static_cast<uint32_t>(
            session.Client_ProcessRequest(&message, request, result_buffer.data(), nullptr));
        const ExitStatus done = ExitStatusOf(result, message.status);
        if (done == kNoSession) return Lost(result);
        if (result == zwmgmt::kNotForThisAgent) Say(zwmgmt::StatusText(result));
        if (result == zwmgmt::kSuccess && message.status != zwmgmt::kSuccess) {
            Say("the agent answered: " + Words(message.status));
        }
        return done;
    }

    const Options& options;
    Secret password;
    std::vector<char> result_buffer;
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

/// In any case, as all words.
bool Is(std::string_view word, std::string_view command) {
    const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
    return std::ranges::equal(word, command, {}, lower);
}

/// A command of the front end itself: it needs no agent.
ExitStatus Help(const std::vector<const char*>& words) {
    if (words.size() == 1) {
        std::puts("help [SERVICE [COMMAND]]\n    lists commands and their keys, without an agent");
        std::puts(
            "policy check FILE [src=ADDRESS dport=N ...]\n    compiles a policy file and "
            "explains what it does, without an agent");
    }
    if (zwmgmt::PrintHelp(stdout, words.data() + 1, words.size() - 1)) return kOk;
    return Fail(kUsage,
                "help is for: help [SERVICE [COMMAND]], of the commands that \"help\" lists");
}

ExitStatus Main(int argc, const char* const* argv) {
    Options options;
    if (const auto stop = ParseOptions(argc, argv, &options)) return static_cast<ExitStatus>(*stop);

    std::vector<const char*> words;
    for (const std::string& word : options.words) words.push_back(word.c_str());
    if (!words.empty() && Is(words[0], "help")) return Help(words);
    if (!words.empty() && Is(words[0], "policy")) {
        return PolicyCommand({words.begin() + 1, words.end()});
    }
    zwmgmt::CommandWords command(words.data(), words.size());
    if (command.Request() == nullptr) return Fail(kUsage, command.Error());

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
    return Run(options, std::move(password)).Execute(command.Request());
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
