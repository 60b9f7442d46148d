/// Running the real programs.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace testing_support {

struct ProcessResult {
    int exit_status = -1;  // -1: ended by a signal
    std::string out;
    std::string err;
};

/// Runs a program to its end, away from any terminal.
ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input = "");

/// Runs a program with a terminal as standard input; types the line once the program has written
/// the prompt. Everything that the terminal showed is in `out`.
ProcessResult RunOnTerminal(const std::vector<std::string>& arguments, const std::string& prompt,
                            const std::string& line);

/// A program that runs until it is told to stop.
class BackgroundProcess {
  public:
    explicit BackgroundProcess(const std::vector<std::string>& arguments);
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    /// The next line of its standard output, without the line end.
    std::string ReadLine();
    /// Asks it to stop and returns its exit status.
    int Terminate();

  private:
    int pid;
    int output;
};

int OwnProcessId();

}  // namespace testing_support
