/// A line on standard error that tells how far many hosts are; on a terminal alone.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace zwcli {

class Progress {
  public:
    explicit Progress(size_t hosts);

    void Show(size_t done, size_t failed, size_t running);
    /// Before anything else is printed.
    void Clear();

  private:
    using Clock = std::chrono::steady_clock;

    const size_t total;
    const bool is_shown;
    const Clock::time_point begin = Clock::now();
    std::string line;
};

}  // namespace zwcli
