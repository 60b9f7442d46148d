#include "front_end/complete_line.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <optional>
#include <thread>

#include "front_end/completion.h"
#include "front_end/completion_hosts.h"
#include "front_end/own_commands.h"
#include "front_end/run.h"
#include "front_end/shell_words.h"
#include "front_end/trust.h"

namespace zwcli {
namespace {

using Words = std::vector<std::string>;

using std::chrono::milliseconds;

constexpr milliseconds kGrace{100};  // for what does not end by itself, as the resolver

/// Whether the agent of the line may be asked: nobody is there to say whether it is the right one.
bool MayAsk(const Options& options) {
    if (options.complete_live == 0 || options.hosts || options.password_file == "-") return false;
    if (options.verify == Verify::kAuthority) return true;
    std::vector<KnownKey> known;
    std::string trouble;
    return options.verify != Verify::kOff &&
           KnownAgents(KnownAgentsFile(options)).Read(&known, &trouble) &&
           std::ranges::any_of(known, [&](const KnownKey& key) {
               return key.IsOf(NameOf({options.host, options.port}));
           });
}

/// A session for what there is to ask, made by the first question. It leaves nothing on the disk.
class Asker {
  public:
    explicit Asker(const Options& line_options)
        : options(Silent(line_options)), passwords(options, true) {
        passwords.BeSilent();
    }

    Rows Ask(const Words& words, const Words& fields) {
        if (!conversation) {
            if (!NameUser(&options).empty() || !passwords.ReadFile().empty()) return {};
            conversation.emplace(options, passwords, stop, Teller::Voice::kQuiet);
            conversation->Open();
        }
        AgentSession& session = conversation->Session();
        if (session.IsLost()) return {};
        return AskForRows(session.Library(), session.ResultBuffer(), words, fields);
    }

  private:
    static Options Silent(Options options) {
        if (options.verify == Verify::kKnown) options.verify = Verify::kStrict;
        options.trace.clear();
        options.key_log.clear();
        options.format = Format::kText;
        options.retries = 0;
        return options;
    }

    Options options;
    Passwords passwords;
    const zwmgmt::Stop stop{zwmgmt::Stop::Clock::now() + milliseconds(options.complete_live)};
    std::optional<Conversation> conversation;
};

/// The words behind the program's name, the front end's options apart from the command's.
class Line {
  public:
    explicit Line(const TypedLine& line) : typed(line.typed) {
        for (auto word = line.words.begin() + 1; word != line.words.end(); ++word) {
            if (due != nullptr) {
                due = nullptr;
            } else if (IsOption(*word)) {
                due = FindOption(*word);
                if (due != nullptr && due->value.empty()) due = nullptr;
            } else {
                command.push_back(*word);
            }
        }
        parsed.insert(parsed.end(), line.words.begin() + 1, line.words.end() - (due != nullptr));
    }

    /// What the line and the settings say so far. What is wrong is told once the line is run.
    Options ReadOptions() const {
        Options read;
        if (ParseQuietly(parsed, &read)) return read;
        Options of_settings;
        ParseQuietly({parsed[0]}, &of_settings);
        of_settings.complete_live = 0;
        return of_settings;
    }

    Candidates Find(const CompletionSources& sources) const {
        if (due != nullptr) return FindValues(due->value, "", typed, sources);
        if (!typed.starts_with('-')) return FindCandidates(command, typed, sources);
        const size_t sign = typed.find('=');
        if (sign != std::string::npos) {
            const ShownOption* option = FindOption(typed.substr(0, sign));
            if (option == nullptr) return {};
            return FindValues(option->value, typed.substr(0, sign + 1), typed, sources);
        }
        Candidates found;
        for (const ShownOption& option : options) {
            if (option.name.starts_with(typed)) found.words.push_back({option.name, option.about});
        }
        return found;
    }

  private:
    const ShownOption* FindOption(const std::string& name) const {
        const auto option = std::ranges::find(options, name, &ShownOption::name);
        return option != options.end() ? &*option : nullptr;
    }

    const std::vector<ShownOption> options = ShownOptions();
    const std::string& typed;
    Words command;
    Words parsed = {"korvane_zwcli"};
    const ShownOption* due = nullptr;  // whose value is typed
};

void Print(const Candidates& found) {
    for (const Candidate& each : found.words) {
        const std::string about = each.about.empty() ? "" : "\t" + each.about;
        std::printf("%s%s\n", each.word.c_str(), about.c_str());
    }
    if (found.files_behind) std::printf("\tfiles\t%s\n", found.files_behind->c_str());
}

}  // namespace

ExitStatus CompleteLine(const std::string& text) {
    const TypedLine typed(text);
    if (typed.is_comment || typed.words.empty() || text.find('\n') != text.npos) return kOk;
    const Line line(typed);
    const Options options = line.ReadOptions();
    CompletionSources sources;
    sources.usages = Usages();
    AddHosts(options, &sources);
    if (!MayAsk(options)) {
        Print(line.Find(sources));
        return kOk;
    }
    std::packaged_task<Candidates()> find([&] {
        Asker asker(options);
        CompletionSources with_agent = sources;
        with_agent.ask = [&](const auto& words, const auto& fields) {
            return asker.Ask(words, fields);
        };
        return line.Find(with_agent);
    });
    std::future<Candidates> live = find.get_future();
    std::thread asking(std::move(find));
    if (live.wait_for(kGrace + milliseconds(options.complete_live)) == std::future_status::ready) {
        asking.join();
        Print(live.get());
        return kOk;
    }
    asking.detach();
    Print(line.Find(sources));
    std::fflush(stdout);
    std::_Exit(kOk);  // a resolver is not waited for
}

}  // namespace zwcli
