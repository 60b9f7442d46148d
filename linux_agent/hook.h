/// The program that the configuration names for packages, and the cage that it is run in.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

namespace zmagent {

/// Whether nobody but root and this process's user can have put it there; else false, with the
/// reason in *error.
bool IsSafeHook(const std::string& hook, std::string* error);

struct HookRun {
    std::string hook;                      // an absolute path
    std::vector<std::string> words;        // behind it
    std::vector<std::string> environment;  // all of it
    std::string folder;                    // that it works in
    std::chrono::seconds limit;
};

/// How a hook has ended.
struct HookEnd {
    static constexpr int kNone = -1;

    int exit_status = kNone;   // none: it was not started, or was ended
    std::string reason = {};   // of that
    std::string printed = {};  // its last line
};

/// Runs it until it ends, and everything else in its process group with it: at the limit, or when
/// there is to be a stop, they are told to end, and then are ended.
HookEnd RunHook(const HookRun& run, const std::atomic<bool>& stop);

}  // namespace zmagent
