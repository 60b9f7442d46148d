#include "front_end/fan_out.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "front_end/progress.h"
#include "front_end/report.h"
#include "front_end/say.h"
#include "platform/stop_signal.h"

namespace zwcli {
namespace {

using Clock = zwmgmt::Stop::Clock;
using std::chrono::milliseconds;

constexpr milliseconds kLook{50};      // how often a request to stop is looked for
constexpr milliseconds kGrace{1'000};  // for what runs, to end

/// Of a host at which the command came to nothing.
Outcome FailedOutcome(const Command& command, ExitStatus status, const char* why) {
    Outcome outcome;
    outcome.exit_status = status;
    Answer& answer = outcome.answers.emplace_back(AnswerTo(command));
    answer.exit_status = status;
    answer.message = why;
    outcome.said.push_back(why);
    return outcome;
}

/// How many hosts may fail before no other is begun.
size_t FailuresAllowed(const Options& options, size_t hosts) {
    const std::string& text = options.max_failures;
    if (text.empty()) return hosts;
    const size_t number = std::stoul(text);
    return text.ends_with('%') ? hosts * number / 100 : number;
}

/// The threads, a session each, and what they have done.
class Crew {
  public:
    struct Done {
        size_t host;
        Outcome outcome;
    };

    Crew(const Options& run_options, const std::vector<Command>& run_commands,
         const std::vector<Target>& run_hosts, Passwords& run_passwords)
        : options(run_options),
          commands(run_commands),
          hosts(run_hosts),
          passwords(run_passwords),
          size(std::min<size_t>(options.fanout, hosts.size())),
          allowed(FailuresAllowed(options, hosts.size())),
          end(options.canary != 0 ? std::min<size_t>(options.canary, hosts.size()) : hosts.size()),
          is_closed(end == hosts.size()) {}
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;
    ~Crew() {
        for (std::thread& thread : threads) thread.join();
    }

    /// As many as the system lets us have; false where that is none.
    bool Start() {
        try {
            while (threads.size() < size) threads.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {
        }
        return !threads.empty();
    }

    /// Waits a while for a host that is done.
    std::deque<Done> Wait() {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, kLook, [&] { return !done.empty(); });
        std::deque<Done> taken = std::exchange(done, {});
        changed.notify_all();
        return taken;
    }

    /// Those that are not the first ones may begin.
    void BeginOthers() { Close(hosts.size()); }

    /// Those that run end, too.
    void Stop() {
        Close(0);
        const std::lock_guard lock(mutex);
        is_stopping = true;
        for (zwmgmt::Stop* stop : running) stop->Now();
        changed.notify_all();
    }

    size_t Running() {
        const std::lock_guard lock(mutex);
        return running.size();
    }

    /// Whether others than the first ones wait for these.
    bool IsOpen() {
        const std::lock_guard lock(mutex);
        return !is_closed;
    }

    /// Whether nothing is left to wait for.
    bool IsFinished() {
        const std::lock_guard lock(mutex);
        return is_closed && next >= end && running.empty() && done.empty();
    }

  private:
    void Close(size_t new_end) {
        const std::lock_guard lock(mutex);
        CloseLocked(new_end);
    }

    void CloseLocked(size_t new_end) {
        end = new_end;
        is_closed = true;
        changed.notify_all();
    }

    void Work() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return next < end || is_closed; });
            if (next >= end) return;
            const size_t host = next++;
            zwmgmt::Stop stop(options.timeout == 0 ? Clock::time_point::max()
                                                   : Clock::now() + milliseconds(options.timeout));
            const auto place = running.insert(running.end(), &stop);
            lock.unlock();
            Outcome outcome = Ask(hosts[host], stop);
            lock.lock();
            running.erase(place);
            // Before this thread can begin another host. Of the first ones none may fail.
            if (outcome.exit_status != kOk && ++failed > (is_closed ? allowed : 0)) CloseLocked(0);
            done.push_back({host, std::move(outcome)});
            changed.notify_all();
            // What is not printed yet takes memory: no more of it than threads.
            changed.wait(lock, [&] { return done.size() < size || is_stopping; });
        }
    }

    Outcome Ask(const Target& host, const zwmgmt::Stop& stop) {
        try {
            const Options own = OptionsFor(options, host);
            return RunQuietly(own, passwords, commands, stop);
        } catch (const std::bad_alloc&) {
            return FailedOutcome(commands.front(), kFailed, "out of memory");
        }
    }

    const Options& options;
    const std::vector<Command>& commands;
    const std::vector<Target>& hosts;
    Passwords& passwords;
    const size_t size;
    const size_t allowed;  // to fail, before no other is begun
    std::vector<std::thread> threads;
    std::mutex mutex;  // guards what follows
    std::condition_variable changed;
    size_t next = 0;
    size_t failed = 0;
    size_t end;      // of those that may begin
    bool is_closed;  // no others will
    bool is_stopping = false;
    std::list<zwmgmt::Stop*> running;
    std::deque<Done> done;
};

}  // namespace

ExitStatus RunOnMany(const Options& options, const std::vector<Command>& commands,
                     const std::vector<Target>& hosts, Passwords& passwords) {
    const Command& first = commands.front();
    Report report(options, hosts, first);
    std::vector<bool> is_done(hosts.size());
    Progress progress(hosts.size());
    if (const std::string wrong = report.KeepFailed(); !wrong.empty()) return Fail(kUsage, wrong);
    zwmgmt::platform::NoteStopSignal();
    Crew crew(options, commands, hosts, passwords);
    if (!crew.Start()) return Fail(kFailed, "no thread can be started");
    auto give_up = Clock::time_point::max();
    while (!crew.IsFinished() && Clock::now() < give_up) {
        for (Crew::Done& each : crew.Wait()) {
            progress.Clear();
            is_done[each.host] = true;
            report.Add(each.host, std::move(each.outcome));
        }
        if (crew.IsOpen() && report.Done() >= options.canary) crew.BeginOthers();
        if (!passwords.IsAsking()) {
            progress.Show(report.Done(), report.Failed(), crew.Running());
        }
        if (zwmgmt::platform::StopIsNoted() && give_up == Clock::time_point::max()) {
            crew.Stop();
            give_up = Clock::now() + kGrace;
        }
    }
    progress.Clear();
    for (size_t host = 0; host < hosts.size(); ++host) {
        if (is_done[host]) continue;
        report.Add(host, give_up != Clock::time_point::max()
                             ? FailedOutcome(first, kInterrupted, "interrupted")
                             : FailedOutcome(first, kNotBegun, "not begun, as others had failed"));
    }
    const ExitStatus status = report.End();
    // A name that is looked up cannot be given up; such threads go with the process.
    if (crew.Running() != 0) {
        std::fflush(stdout);
        std::_Exit(status);
    }
    return status;
}

}  // namespace zwcli
