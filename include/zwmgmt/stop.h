/// What ends sessions from outside.
#pragma once

#include <atomic>
#include <chrono>

namespace zwmgmt {

/// When sessions give up whatever they wait for: at a moment, or as soon as another thread says so.
class Stop {
  public:
    /// What moments are told by.
    using Clock = std::chrono::steady_clock;

    /// At no moment.
    Stop() = default;
    /// At this moment.
    explicit Stop(Clock::time_point at) noexcept : moment(at) {}
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;

    /// Asks for it now; from any thread, at any time.
    void Now() noexcept { now = true; }

    /// Whether Now() was called.
    [[nodiscard]] bool IsAsked() const noexcept { return now; }
    /// Whether Now() was called, or the moment has come.
    [[nodiscard]] bool IsReached() const noexcept { return now || Clock::now() >= moment; }
    /// The moment; the clock's last where there is none.
    [[nodiscard]] Clock::time_point Moment() const noexcept { return moment; }

  private:
    std::atomic<bool> now = false;
    const Clock::time_point moment = Clock::time_point::max();
};

}  // namespace zwmgmt
