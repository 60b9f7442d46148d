#include "linux_agent/confirmations.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace zmagent {
namespace {

using zwmgmt::platform::NetworkOf;

}  // namespace

Confirmations::~Confirmations() {
    if (watcher.joinable()) {
        watcher.request_stop();
        watcher.join();
    }
    for (; !waiting.empty(); waiting.pop_back()) waiting.back().put_back();
}

void Confirmations::Expect(const std::string& user, const Ends& ends, std::chrono::seconds limit,
                           std::function<void()> put_back) try {
    const auto now = Clock::now();
    const std::lock_guard guard(lock);
    if (!watcher.joinable()) {
        watcher = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
    }
    waiting.push_back({.user = user,
                       .ends = ends,
                       .made = now,
                       .last = now + limit,
                       .put_back = std::move(put_back)});
    moment.notify_one();
} catch (const std::system_error&) {  // without a thread nothing would be put back later
    put_back();
}

size_t Confirmations::Confirm(const std::string& user, const Ends& ends, Clock::time_point began) {
    const std::lock_guard guard(lock);
    return std::erase_if(waiting, [&](const Change& change) {
        return change.user == user && change.ends.host == ends.host &&
               NetworkOf(change.ends.client) == NetworkOf(ends.client) && change.made < began;
    });
}

/// The latest first: they may be of the same setting.
std::list<Confirmations::Change> Confirmations::TakeDue(Clock::time_point now) {
    std::list<Change> due;
    for (auto change = waiting.begin(); change != waiting.end();) {
        const auto next = std::next(change);
        if (change->last <= now) due.splice(due.begin(), waiting, change);
        change = next;
    }
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
        for (const Change& change : due) change.put_back();
        guard.lock();
    }
}

}  // namespace zmagent
