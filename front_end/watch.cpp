#include "front_end/watch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <optional>
#include <thread>

#include "front_end/difference.h"
#include "front_end/host_writer.h"
#include "front_end/rate.h"
#include "front_end/say.h"
#include "front_end/trace.h"
#include "platform/stop_signal.h"
#include "records/messages.h"
#include "session/agent_names.h"
#include "zwmgmt/argument_notes.h"

namespace zwcli {
namespace {

using Clock = zwmgmt::Stop::Clock;
using std::chrono::milliseconds;

constexpr milliseconds kLook{50};  // how often a request to stop is looked for

/// Whether some agent would be asked to change something.
bool Changes(Client_Request_Message* request) {
    ZwMgmt_interface session(zwmgmt::kNoTrustStore);
    const bool changes =
        std::ranges::any_of(zwmgmt::kAgentNames, [&](const zwmgmt::AgentName& agent) {
            const zwmgmt::ArgumentNotes notes(session, request, agent.os);
            for (size_t i = 0; i < notes.MessageCount(); ++i) {
                const _Message sent = notes.MessageAt(i);
                const auto* form = zwmgmt::FindMessageForm(sent.service, sent.opcode, agent.os);
                if (form == nullptr || form->changes) return true;
            }
            return false;
        });
    session.CLDisconnectFromServer();
    return changes;
}

/// For people. A terminal shows the last listing, with what is new in it marked; elsewhere the
/// first is followed by the differences from each to the next. Rates are hardly ever the same: they
/// are shown whole, and not marked.
class Listings : public HostWriter {
  public:
    Listings(const Options& run_options, const Command& command)
        : options(run_options), has_screen(StyleOfOutput().bold) {
        char interval[32];
        std::snprintf(interval, sizeof(interval), ", every %g s", options.watch / 1000.0);
        title = Target{options.host, options.port}.Name() + interval + ":";
        for (const std::string& word : command.words) title += " " + word;
        title += "  ";
    }

    void Add(const Target&, const std::string& time, Outcome outcome) override {
        const Answer& answer = outcome.answers.front();
        if (answer.exit_status == kNoSession) return;  // which is said, below what there is
        TitledText now = {time, options.format == Format::kTable ? TableOf(options, answer)
                                                                 : std::move(outcome.text)};
        const std::string shown = has_screen     ? Screen(now)
                                  : options.rate ? now.title + "\n" + now.text
                                  : before       ? UnifiedDifference(*before, now)
                                                 : now.text;
        std::fputs(shown.c_str(), stdout);
        before = std::move(now);
    }

  private:
    std::string Screen(const TitledText& now) const {
        std::string screen = "\x1b[H\x1b[2J" + title + now.title + "\n\n";
        const std::vector<std::string> lines = LinesOf(now.text);
        const bool is_compared = before && !options.rate;
        const std::vector<bool> is_new = NewLines((is_compared ? *before : now).text, now.text);
        for (size_t i = 0; i < lines.size(); ++i) {
            screen += is_new[i] ? "\x1b[7m" + lines[i] + "\x1b[0m\n" : lines[i] + "\n";
        }
        return screen;
    }

    const Options& options;
    const bool has_screen;
    std::string title;
    std::optional<TitledText> before;
};

std::unique_ptr<HostWriter> WriterFor(const Options& options, const Command& command) {
    const bool for_people = options.format == Format::kText || options.format == Format::kTable;
    if (for_people) return std::make_unique<Listings>(options, command);
    return HostWriter::Make(options, command);
}

/// The rounds, on one session as long as there is one.
class Rounds {
  public:
    Rounds(const Options& run_options, Passwords& run_passwords, const Command& run_command)
        : options(run_options), passwords(run_passwords), command(run_command) {}

    Outcome Next() {
        // In the place of the one before, which the session looks at.
        stop.emplace(options.timeout == 0 ? Clock::time_point::max()
                                          : Clock::now() + milliseconds(options.timeout));
        if (!run || run->Session().IsLost()) {
            run.emplace(options, passwords, *stop, Teller::Voice::kQuiet);
        }
        // In a thread of its own where there can be one, so that it can be ended.
        auto outcome = std::async([&] { return run->Execute(command); });
        while (outcome.wait_for(kLook) == std::future_status::timeout) {
            if (zwmgmt::platform::StopIsNoted()) stop->Now();
        }
        return outcome.get();
    }

  private:
    const Options& options;
    Passwords& passwords;
    const Command& command;
    std::optional<zwmgmt::Stop> stop;
    std::optional<Conversation> run;
};

/// Waits for the next round: one that took too long is followed by a whole interval. False where
/// somebody asks for a stop before.
bool Wait(Clock::time_point begin, milliseconds interval) {
    const Clock::time_point now = Clock::now();
    const Clock::time_point moment = (now - begin < interval ? begin : now) + interval;
    while (!zwmgmt::platform::StopIsNoted() && Clock::now() < moment) {
        std::this_thread::sleep_until(std::min(moment, Clock::now() + kLook));
    }
    return !zwmgmt::platform::StopIsNoted();
}

/// Whether every other round would end so, too.
bool IsHopeless(ExitStatus status) {
    return status == kUsage || status == kNotLoggedIn || status == kUnsupported;
}

}  // namespace

std::string WrongWatch(const Options& options, Client_Request_Message* request) {
    const zwmgmt::Description* what = zwmgmt::FindDescriptionOf(request->command);
    if (options.rate && (what == nullptr || !HasCounters(*what))) {
        return "this command shows no counters: --rate is not for it";
    }
    return Changes(request) ? "this command changes something: --watch is not for it" : "";
}

ExitStatus Watch(const Options& options, Passwords& passwords, const Command& command) {
    zwmgmt::platform::NoteStopSignal();
    Options own = options;
    own.keep_going = true;  // a failure that is an answer ends no session
    const std::unique_ptr<HostWriter> writer = WriterFor(own, command);
    Rounds rounds(own, passwords, command);
    Rates rates;
    ExitStatus last = kInterrupted;
    ExitStatus worst = kOk;
    for (uint64_t round = 1;; ++round) {
        const Clock::time_point begin = Clock::now();
        Outcome outcome = rounds.Next();
        Answer& answer = outcome.answers.front();
        if (answer.exit_status == kInterrupted) break;
        last = answer.exit_status;
        worst = Worse(worst, last);
        answer.time = TimeNow();
        if (options.rate && answer.result && answer.result->records) {
            answer.interval_ms = rates.Take(*answer.result, Clock::now());
        }
        const std::vector<std::string> said = std::move(outcome.said);
        writer->Add({own.host, own.port}, answer.time, std::move(outcome));
        const bool is_written = std::fflush(stdout) == 0;
        for (const std::string& text : said) Say(text);
        if (round == options.count || IsHopeless(last) || !is_written) {
            last = worst;
            break;
        }
        if (!Wait(begin, milliseconds(options.watch))) break;
    }
    writer->End();
    return last;
}

}  // namespace zwcli
