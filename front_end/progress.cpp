#include "front_end/progress.h"

#include <cstdio>

#include "platform/terminal.h"

namespace zwcli {

Progress::Progress(size_t hosts)
    : total(hosts), is_shown(zwmgmt::platform::ErrorsShowOnTerminal()) {}

void Progress::Show(size_t done, size_t failed, size_t running) {
    if (!is_shown) return;
    std::string now = std::to_string(done) + " of " + std::to_string(total) + " hosts done, " +
                      std::to_string(failed) + " failed, " + std::to_string(running) + " running";
    if (done != 0) {
        const auto passed = std::chrono::duration<double>(Clock::now() - begin).count();
        const double rest = passed * static_cast<double>(total - done) / static_cast<double>(done);
        now += ", about " + std::to_string(static_cast<long>(rest + 1)) + " s left";
    }
    if (now == line) return;
    Clear();
    line = now;
    std::fprintf(stderr, "%s", line.c_str());
    std::fflush(stderr);
}

void Progress::Clear() {
    if (line.empty()) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(line.size()), "");
    line.clear();
}

}  // namespace zwcli
