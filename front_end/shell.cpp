#include "front_end/shell.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "commands/offer.h"
#include "commands/texts.h"
#include "front_end/completion.h"
#include "front_end/completion_hosts.h"
#include "front_end/help.h"
#include "front_end/own_commands.h"
#include "front_end/run.h"
#include "front_end/say.h"
#include "front_end/shell_history.h"
#include "front_end/shell_words.h"
#include "platform/line_editor.h"
#include "platform/stop_signal.h"
#include "records/messages.h"

namespace zwcli {
namespace {

using Clock = zwmgmt::Stop::Clock;
using Words = std::vector<std::string>;
using zwmgmt::SameIgnoringCase;

constexpr std::chrono::milliseconds kLook{50};  // how often Ctrl-C is looked for
constexpr std::chrono::seconds kCompletionLimit{5};

constexpr char kGreeting[] = "\"help\" lists the commands; \"exit\" leaves.\n";
constexpr char kHelp[] =
    "exit, quit\n    leaves, as the end of input (Ctrl-D) does; Ctrl-C ends a command\n"
    "history\n    lists the lines typed before\n"
    "?\n    the same as help; so is --help behind the words\n";
constexpr const char* kShellWords[] = {"exit", "quit", "history", "?"};

bool IsHelp(const std::string& word) { return word == "--help" || word == "-h"; }

/// As long as it lives, Ctrl-C ends what is waited for, and so does the moment.
class InterruptWatch {
  public:
    explicit InterruptWatch(zwmgmt::Stop& stop, Clock::time_point end = Clock::time_point::max())
        : thread([this, &stop, end](const std::stop_token& done) {
              std::unique_lock lock(mutex);
              while (!done.stop_requested()) {
                  changed.wait_for(lock, done, kLook, [] { return false; });
                  if (zwmgmt::platform::StopIsNoted() || Clock::now() >= end) stop.Now();
              }
          }) {}

  private:
    std::mutex mutex;
    std::condition_variable_any changed;
    std::jthread thread;
};

/// A session, and what ends it.
struct Talk {
    Talk(const Options& options, Passwords& passwords)
        : conversation(options, passwords, stop, Teller::Voice::kAloud) {}

    AgentSession& Session() { return conversation.Session(); }

    zwmgmt::Stop stop;
    Conversation conversation;
};

class Shell {
  public:
    Shell(const Options& shell_options, Passwords& shell_passwords)
        : options(KeptGoing(shell_options)),
          passwords(shell_passwords),
          editor(options.given_host + "> ", [this](const std::string& line) {
              const Completion found = Complete(line, Sources());
              return zwmgmt::platform::Candidates{found.begin, found.candidates};
          }) {}

    ExitStatus Execute() {
        zwmgmt::platform::NoteInterrupt();
        if (options.agent_os == 0) {
            Talk& first = Connection();
            const InterruptWatch watch(first.stop);
            if (const ExitStatus failed = first.conversation.Open(); failed != kOk) return failed;
        }
        for (const std::string& line : history.Lines()) editor.Remember(line);
        std::fputs(kGreeting, stderr);
        for (bool goes_on = true; goes_on;) {
            zwmgmt::platform::NoteInterrupt();
            std::string line;
            switch (editor.ReadLine(&line)) {
                case zwmgmt::platform::Read::kLine: goes_on = Take(line); break;
                case zwmgmt::platform::Read::kGivenUp: break;
                case zwmgmt::platform::Read::kEnd:
                    std::fputs("\n", stderr);
                    goes_on = false;
                    break;
            }
            std::fflush(stdout);
        }
        return kOk;
    }

  private:
    static Options KeptGoing(Options kept) {
        kept.keep_going = true;
        return kept;
    }

    bool HasSession() const { return talk && !talk->stop.IsReached() && !talk->Session().IsLost(); }

    /// The session, or a new one where it was lost.
    Talk& Connection() {
        if (!HasSession()) {
            answers.clear();
            talk = std::make_unique<Talk>(options, passwords);
        }
        return *talk;
    }

    /// False where it is the last.
    bool Take(const std::string& line) {
        Words words;
        const std::string wrong = SplitWords(line, &words);
        if (!words.empty() && history.Add(line)) editor.Remember(line);
        if (!wrong.empty()) {
            Say(wrong);
        } else if (!words.empty()) {
            if (SameIgnoringCase(words[0], "exit") || SameIgnoringCase(words[0], "quit")) {
                return false;
            }
            Execute(std::move(words));
        }
        return true;
    }

    void Execute(Words words) {
        if (words[0] == "?") words[0] = "help";
        if (std::erase_if(words, IsHelp) != 0) words.insert(words.begin(), "help");
        if (SameIgnoringCase(words[0], "history")) {
            for (const std::string& line : history.Lines()) std::printf("%s\n", line.c_str());
            return;
        }
        if (const auto option = std::ranges::find_if(words, IsOption); option != words.end()) {
            return Say(*option +
                       ": options stand behind korvane_zwcli and hold for the whole shell");
        }
        if (const OwnCommand* own = FindOwnCommand(words[0])) {
            if (own->run == HelpCommand && words.size() == 1) std::fputs(kHelp, stdout);
            own->run(options, {words.begin() + 1, words.end()});
            return;
        }
        Command command;
        command.words = std::move(words);
        if (const std::string wrong = TakeCommand(options, &command); !wrong.empty()) {
            return Say(wrong);
        }
        Send(command);
    }

    void Send(const Command& command) {
        if (ZwMgmt_interface::NeedsNoAgent(command.service, command.number)) {
            RunLocally(options, command);
            return;
        }
        Talk& own = Connection();
        const InterruptWatch watch(own.stop);
        own.conversation.Execute(command);
        const zwmgmt::MessageForm* form = zwmgmt::FindMessageForm(command.service, command.number,
                                                                  own.Session().Library().OsType());
        if (form == nullptr || form->changes) answers.clear();
    }

    CompletionSources Sources() {
        CompletionSources sources;
        sources.usages = Usages();
        sources.usages.insert(sources.usages.begin(), std::begin(kShellWords),
                              std::end(kShellWords));
        AddHosts(options, &sources);
        sources.agent_os = options.agent_os;
        if (!talk || !talk->Session().WasOpened()) return sources;
        sources.agent_os = talk->Session().Library().OsType();
        sources.ask = [this](const Words& words, const Words& fields) {
            return Ask(words, fields);
        };
        return sources;
    }

    /// Asks once. A session that is lost by it is made anew by the next command.
    Rows Ask(const Words& words, const Words& fields) {
        if (!HasSession()) return {};
        const auto [place, is_new] = answers.try_emplace({words, fields});
        if (is_new) {
            const InterruptWatch watch(talk->stop, Clock::now() + kCompletionLimit);
            AgentSession& session = talk->Session();
            place->second = AskForRows(session.Library(), session.ResultBuffer(), words, fields);
        }
        return place->second;
    }

    const Options options;
    Passwords& passwords;
    ShellHistory history;
    std::unique_ptr<Talk> talk;
    std::map<std::pair<Words, Words>, Rows> answers;  // what was asked for completion
    zwmgmt::platform::LineEditor editor;
};

}  // namespace

ExitStatus RunShell(const Options& options, Passwords& passwords) {
    return Shell(options, passwords).Execute();
}

}  // namespace zwcli
