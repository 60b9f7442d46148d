/// Programs of the system, by their exact paths.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

namespace zmagent {

/// What a program has printed on standard output.
struct ProgramResult {
    bool ran = false;    // false: it could not be started, or was ended
    std::string output;  // at most 64 KiB of it
};

/// Runs it without a shell, in an environment of its own, and with nothing to read, until it ends,
/// at the limit, or when there is to be a stop. words: all behind the path.
ProgramResult RunProgram(const std::string& path, const std::vector<std::string>& words,
                         std::chrono::milliseconds limit, const std::atomic<bool>& stop);

}  // namespace zmagent
