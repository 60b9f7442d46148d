/// korvane_zwcli: one command line, one session, one exit status.
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "front_end/batch.h"
#include "front_end/complete_line.h"
#include "front_end/exit_status.h"
#include "front_end/fan_out.h"
#include "front_end/help.h"
#include "front_end/hosts.h"
#include "front_end/options.h"
#include "front_end/own_commands.h"
#include "front_end/password.h"
#include "front_end/run.h"
#include "front_end/say.h"
#include "front_end/shell.h"
#include "front_end/watch.h"
#include "platform/terminal.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// Checks the words of the command line; what is wrong with them, or "".
std::string TakeWords(const Options& options, Command* command) {
    command->words = options.words;
    if (std::string wrong = TakeCommand(options, command); !wrong.empty()) return wrong;
    const std::vector<const char*> words = PointersTo(options.words);
    zwmgmt::CommandWords request(words.data(), words.size());
    if (options.asked_to_wait && !RunsInBackground(*request.Request())) {
        return "--wait is for " + BackgroundCommands("and");
    }
    if (!ZwMgmt_interface::NeedsNoAgent(command->service, command->number)) {
        return options.watch != 0 ? WrongWatch(options, request.Request()) : "";
    }
    if (options.watch != 0) return "this command needs no agent: --watch is not for it";
    if (options.dry_run) return "--dry-run is for commands that ask an agent";
    return options.asked_for_hosts ? "this command needs no agent: --hosts is not for it" : "";
}

/// What is to run; what is wrong with it, or "".
std::string CommandsOf(const Options& options, std::vector<Command>* commands) {
    if (options.batch) return ReadBatch(options, commands);
    return TakeWords(options, &commands->emplace_back());
}

ExitStatus Main(int argc, const char* const* argv) {
    if (argc == 3 && argv[1] == std::string_view("--complete")) return CompleteLine(argv[2]);
    Options options;
    if (const auto stop = ParseOptions(argc, argv, &options)) return static_cast<ExitStatus>(*stop);

    const OwnCommand* own = options.words.empty() ? nullptr : FindOwnCommand(options.words[0]);
    if (own != nullptr && (own->run == HelpCommand || !options.help)) {
        if (options.watch != 0) return Fail(kUsage, "--watch is not for " + options.words[0]);
        return own->run(options, {options.words.begin() + 1, options.words.end()});
    }
    if (options.help) return HelpCommand(options, options.words);
    if (options.connections) return Fail(kUsage, "--connections is for policy check");
    std::vector<Command> commands;
    if (!options.shell) {
        if (const std::string wrong = CommandsOf(options, &commands); !wrong.empty()) {
            return Fail(kUsage, wrong);
        }
        const Command& first = commands.front();
        if (ZwMgmt_interface::NeedsNoAgent(first.service, first.number)) {
            return RunLocally(options, first);
        }
    }
    if (const std::string wrong = NameUser(&options); !wrong.empty()) return Fail(kUsage, wrong);
    std::vector<Target> hosts;
    if (const std::string wrong = TargetsOf(options, &hosts); !wrong.empty()) {
        return Fail(kUsage, wrong);
    }
    Passwords passwords(options, options.hosts.has_value() || options.shell);
    if (const std::string wrong = passwords.ReadFile(); !wrong.empty()) return Fail(kUsage, wrong);
    if (options.shell) return RunShell(options, passwords);
    if (options.hosts) return RunOnMany(options, commands, hosts, passwords);
    if (options.watch != 0) return Watch(options, passwords, commands.front());
    return RunRemotely(options, passwords, commands);
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
