/// Running the real programs, and what else the tests ask the system for.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

struct ProcessResult {
    int exit_status = -1;  // as a shell tells it: 128 and the number of the signal that ended it
    std::string out;
    std::string err;
};

/// Runs a program to its end, away from any terminal; its standard output may be one that cannot
/// be written.
ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input = "",
                         bool takes_output = true);

/// What is typed once the program has written a text, behind that of the one before.
struct Typed {
    std::string after;
    std::string keys;
    std::function<void()> before = nullptr;  // called first
};

/// Runs a program with a terminal as standard input, at which somebody types. Everything that the
/// terminal showed is in `out`; on Windows without the sequences that steer it.
ProcessResult RunOnTerminal(const std::vector<std::string>& arguments,
                            const std::vector<Typed>& typed);

/// A program that runs until it is told to stop.
class BackgroundProcess {
  public:
    explicit BackgroundProcess(const std::vector<std::string>& arguments);
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess&) = delete;
    BackgroundProcess& operator=(const BackgroundProcess&) = delete;

    /// The next line of its standard output, without the line end.
    std::string ReadLine();
    /// Asks it to stop, as a person at its terminal would, and returns its exit status.
    int Terminate();

  private:
    struct Process;
    std::unique_ptr<Process> process;
};

/// Says whether others than its owner may read a file.
void SetReadableByOthers(const std::string& path, bool readable);

/// Where korvane_zwcli looks for stored credentials, with nothing in it. Away from anybody's own
/// home where the system lets a test say so (POSIX); elsewhere it throws when somebody's are there.
class CredentialsHome {
  public:
    CredentialsHome();
    ~CredentialsHome();
    CredentialsHome(const CredentialsHome&) = delete;
    CredentialsHome& operator=(const CredentialsHome&) = delete;

    void Write(const std::string& text, bool readable_by_others) const;
    /// The words to run a program with, so that it looks here.
    std::vector<std::string> Within(std::vector<std::string> arguments) const;

    std::filesystem::path credentials;

  private:
    std::filesystem::path home;
};

/// Paths of what can be opened but is no regular file; may create them beside the scratch path.
std::vector<std::string> FilesThatAreNotRegular(const std::string& scratch);

/// An empty file that is gone when it is closed (fclose).
FILE* OpenScratchFile();

int OwnProcessId();
/// Never 0. Allocates nothing.
uintptr_t OwnThreadId();

}  // namespace testing_support
