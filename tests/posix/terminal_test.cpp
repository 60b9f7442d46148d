/// korvane_zwcli at a terminal whose signals and job control are the system's own: what happens to
/// the terminal, and where things go when streams lead elsewhere.
#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "tests/support.h"

using namespace testing_support;

namespace {

/// A session at a terminal of its own, with one job in the foreground.
class Job {
  public:
    explicit Job(const std::string& command) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reports = ends[0];
        const pid_t leader = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (leader == 0) Lead(command, ends[1]);
        close(ends[1]);
        pid = Next();
    }
    ~Job() {
        kill(pid, SIGKILL);
        close(reports);
        close(terminal);
        while (wait(nullptr) > 0) {
        }
    }
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    void AwaitPrompt() {
        const std::string prompt = "Password of operator for 127.0.0.1: ";
        std::string shown;
        for (char byte; !shown.ends_with(prompt) && read(terminal, &byte, 1) == 1;) {
            shown.push_back(byte);
        }
    }
    void Type(const std::string& keys) { (void)!write(terminal, keys.data(), keys.size()); }
    /// By its keys, where it has some.
    void Signal(int signal, const std::string& keys = "") {
        if (keys.empty()) kill(pid, signal);
        Type(keys);
    }
    /// How waitpid tells what has become of the job next.
    int Next() {
        int report = -1;
        (void)!read(reports, &report, sizeof(report));
        return report;
    }
    tcflag_t Modes() const {
        termios modes = {};
        tcgetattr(terminal, &modes);
        return modes.c_lflag & (ECHO | ISIG | ICANON);
    }

    static constexpr tcflag_t kUsual = ECHO | ISIG | ICANON;

  private:
    [[noreturn]] static void Lead(const std::string& command, int reports) {
        signal(SIGTTOU, SIG_IGN);
        const pid_t job = fork();
        setpgid(job, 0);
        if (job == 0) {
            tcsetpgrp(STDIN_FILENO, getpid());
            signal(SIGTTOU, SIG_DFL);
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
        }
        tcsetpgrp(STDIN_FILENO, job);
        for (int report = job; write(reports, &report, sizeof(report)) > 0;) {
            if (waitpid(job, &report, WUNTRACED) != job) _exit(0);
        }
        _exit(0);
    }

    int terminal = -1;
    int reports = -1;
    pid_t pid = -1;
};

class AtATerminal : public testing::Test {
  protected:
    std::string Command(const std::string& redirections = "") const {
        return std::string(ZWCLI_PATH) + " --verify off --user operator --port " +
               std::to_string(agent.Port()) + " system listdrivers " + redirections;
    }

    SimulatedAgent agent{"linux", {.login = agent::OneUser{"operator", "secret"}}};
};

}  // namespace

TEST_F(AtATerminal, WhateverEndsThePromptLeavesTheTerminalAsItWas) {
    const Table<int, const char*> rows = {
        {SIGTERM, ""}, {SIGHUP, ""},     {SIGUSR1, ""},
        {SIGALRM, ""}, {SIGINT, "\x03"}, {SIGQUIT, "abc\x1c"},
    };
    for (const auto& [signal, keys] : rows) {
        Job job(Command());
        job.AwaitPrompt();
        EXPECT_EQ(job.Modes(), Job::kUsual & ~tcflag_t{ECHO});
        job.Signal(signal, keys);
        const int status = job.Next();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << ' ' << status;
        EXPECT_EQ(job.Modes(), Job::kUsual) << signal;
    }
}

TEST_F(AtATerminal, AStoppedPromptAsksAgain) {
    for (const int signal : {SIGTSTP, SIGSTOP}) {
        Job job(Command(">/dev/null"));
        job.AwaitPrompt();
        job.Signal(signal, signal == SIGTSTP ? "wrong\x1a" : "");
        EXPECT_TRUE(WIFSTOPPED(job.Next()));
        if (signal == SIGTSTP) {
            EXPECT_EQ(job.Modes(), Job::kUsual);
        }
        job.Signal(SIGCONT);
        job.AwaitPrompt();
        EXPECT_EQ(job.Modes(), Job::kUsual & ~tcflag_t{ECHO});
        job.Type("secret\n");
        const int status = job.Next();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        EXPECT_EQ(job.Modes(), Job::kUsual);
    }
}

TEST_F(AtATerminal, ThePromptIsAtTheTerminalWhereverTheStreamsLead) {
    const TemporaryFile errors("");
    Job job(Command("</dev/null >/dev/null 2>" + errors.Path()));
    job.AwaitPrompt();
    job.Type("secret\n");
    const int status = job.Next();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(std::filesystem::file_size(errors.Path()), kNotVerified.size());
}

TEST_F(AtATerminal, NothingTakesThePlaceOfAStandardStreamThatIsClosed) {
    const TemporaryFile secret("secret\n");
    const Table<const char*, int> rows = {{">&-", 1}, {"2>&-", 0}, {"<&-", 0}, {"<&- >&- 2>&-", 1}};
    for (const auto& [streams, exit_status] : rows) {
        const std::string command = Command("--password-file " + secret.Path() + " " + streams);
        const ProcessResult run = RunProcess({"/bin/sh", "-c", command});
        EXPECT_EQ(run.exit_status, exit_status) << streams;
        EXPECT_EQ(run.out.empty(), exit_status != 0) << streams;
    }
}

TEST_F(AtATerminal, ATraceThatCannotBeWrittenIsAFailure) {
    const TemporaryFile secret("secret\n");
    const std::string command = Command("--trace /dev/full --password-file " + secret.Path());
    const ProcessResult run = RunProcess({"/bin/sh", "-c", command});
    EXPECT_EQ(run.exit_status, 1);
    EXPECT_NE(run.out, "");
    EXPECT_NE(run.err.find("korvane_zwcli: cannot write /dev/full: No space"), run.err.npos);
}

TEST_F(AtATerminal, AWatchMarksWhatChanged) {
    SimulatedAgent open("linux");
    const ProcessResult run = RunOnTerminal(
        {ZWCLI_PATH, "--verify", "off", "--port", std::to_string(open.Port()), "--watch", "100ms",
         "--count", "2", "korvane", "getcardstats", "pci=0000:05:00.4"},
        {});
    EXPECT_EQ(run.exit_status, 0);
    for (const char* part : {"\x1b[H\x1b[2J127.0.0.1:", ", every 0.1 s: korvane getcardstats",
                             "Z\r\n\r\nTxFramesOK          : 977000\r\n",
                             "Z\r\n\r\n\x1b[7mTxFramesOK          : 977978\x1b[0m\r\n"}) {
        EXPECT_NE(run.out.find(part), std::string::npos) << part << run.out;
    }
}
