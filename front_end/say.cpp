#include "front_end/say.h"

#include <cstdio>
#include <sstream>

#include "platform/file.h"

namespace zwcli {

void Say(const std::string& text) {
    std::fflush(stdout);  // in order, where both go to one place
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::fprintf(stderr, "korvane_zwcli: %s\n", line.c_str());
    }
}

ExitStatus Fail(ExitStatus exit_status, const std::string& text) {
    Say(text);
    return exit_status;
}

void WarnIfOthersRead(const std::string& path) {
    if (zwmgmt::platform::ReadableByOthers(path.c_str())) {
        Say("warning: other users can read " + path);
    }
}

}  // namespace zwcli
