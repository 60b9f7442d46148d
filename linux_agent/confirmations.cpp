#include "linux_agent/confirmations.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <utility>

namespace zmagent {

using zwmgmt::platform::NetworkOf;

bool Confirmations::Expect(const std::string& user, const Ends& ends, std::chrono::seconds limit,
                           std::function<void()> put_back) try {
    const auto now = Clock::now();
    const std::lock_guard guard(lock);
    if (closed || waiting.size() >= kMost) return false;
    if (!watcher.joinable()) {
        watcher = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
    }
    waiting.push_back({.user = user,
                       .ends = ends,
                       .made = now,
                       .last = now + limit,
                       .put_back = std::move(put_back)});
    moment.notify_one();
    return true;
} catch (const std::system_error&) {
    return false;
}

size_t Confirmations::Confirm(const std::string& user, const Ends& ends, Clock::time_point began) {
    const std::lock_guard guard(lock);
    return std::erase_if(waiting, [&](const Change& change) {
        return change.user == user && change.ends.host == ends.host &&
               NetworkOf(change.ends.client) == NetworkOf(ends.client) && change.made < began;
    });
}

void Confirmations::Close() {
    std::list<Change> left;
    {
        const std::lock_guard guard(lock);
        closed = true;
        left.swap(waiting);
    }
    if (watcher.joinable()) {
        watcher.request_stop();
        watcher.join();
    }
    PutBack(left);
}

/// The latest first: each has it as it was before itself.
void Confirmations::PutBack(const std::list<Change>& changes) {
    for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
        try {
            change->put_back();
        } catch (const std::exception&) {  // no memory: the others have to be put back
        }
    }
}

/// Those that are due, and all that were made behind them: they may stand on them.
std::list<Confirmations::Change> Confirmations::TakeDue(Clock::time_point now) {
    std::list<Change> due;
    const auto first = std::find_if(waiting.begin(), waiting.end(),
                                    [&](const Change& change) { return change.last <= now; });
    due.splice(due.end(), waiting, first, waiting.end());
    return due;
}

Confirmations::Clock::time_point Confirmations::Next() const {
    const auto first = std::ranges::min_element(waiting, {}, &Change::last);
    return first != waiting.end() ? first->last : Clock::time_point::max();
}

void Confirmations::Watch(const std::stop_token& stop) {
    std::unique_lock guard(lock);
    while (!stop.stop_requested()) {
        const auto next = Next();
        moment.wait_until(guard, stop, next, [&] { return Next() < next; });
        const std::list<Change> due = TakeDue(Clock::now());
        guard.unlock();
        PutBack(due);
        guard.lock();
    }
}

}  // namespace zmagent
