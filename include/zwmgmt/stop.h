/// What ends sessions from outside.
#pragma once

#include <atomic>
#include <chrono>

namespace zwmgmt {

/// When sessions give up whatever they wait for: at a moment, or as soon as another thread says so.
class Stop {
  public:
    using Clock = std::chrono::steady_clock;

    Stop() = default;
    explicit Stop(Clock::time_point at) noexcept : moment(at) {}
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;

    /// From any thread.
    void Now() noexcept { now = true; }

    [[nodiscard]] bool IsAsked() const noexcept { return now; }
    [[nodiscard]] bool IsReached() const noexcept { return now || Clock::now() >= moment; }
    [[nodiscard]] Clock::time_point Moment() const noexcept { return moment; }

  private:
    std::atomic<bool> now = false;
    const Clock::time_point moment = Clock::time_point::max();
};

}  // namespace zwmgmt
