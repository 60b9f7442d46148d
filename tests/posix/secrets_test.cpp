/// Where a password lies once it was sent: nowhere in the memory of those who sent it or passed it
/// on.
#include <fcntl.h>
#include <openssl/crypto.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>
#include <sstream>

#include "tests/support.h"

using namespace testing_support;

namespace {

constexpr char kUser[] = "some-user-of-24-bytes-xx";
constexpr char kPassword[] = "Qv7#pL2x-Zr9!mT4w+Kd6%nB";

/// Asks for a login, takes any, and answers nothing after it: until the end its client waits.
struct StallingAgent {
    CannedHost host{[this](auto...) {
        if (!std::exchange(stalled, true)) reached.set_value();
        release.get_future().wait();
        return agent::Reply{};
    }};
    std::promise<void> reached, release;
    bool stalled = false;
    TestAgent agent{host, {.login = [](const LoginRecord&) { return 0u; }}};
    ~StallingAgent() { release.set_value(); }
};

/// A program at a terminal of its own.
class Program {
  public:
    explicit Program(const std::string& command) {
        pid = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (pid == 0) execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
    }
    ~Program() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        close(terminal);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    std::string ReadUntil(const std::string& end) {
        std::string shown;
        for (char byte; shown.find(end) == shown.npos && read(terminal, &byte, 1) == 1;) {
            shown.push_back(byte);
        }
        return shown;
    }
    void Type(const std::string& keys) { (void)!write(terminal, keys.data(), keys.size()); }

    /// Where any 8 bytes of the text are in memory that can be written; "?" when it cannot be read.
    std::string PlacesOf(const std::string& text) const {
        const std::string folder = "/proc/" + std::to_string(pid);
        std::ifstream maps(folder + "/maps");
        const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
        std::string places = memory < 0 ? "?" : "";
        for (std::string line; std::getline(maps, line);) {
            std::istringstream words(line);
            size_t begin = 0, end = 0;
            char dash;
            std::string rights;
            words >> std::hex >> begin >> dash >> end >> rights;
            if (rights[1] != 'w') continue;
            std::string bytes(end - begin, '\0');
            const auto address = static_cast<off_t>(begin);
            const ssize_t got = pread(memory, bytes.data(), bytes.size(), address);
            bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
            for (size_t i = 0; i + 8 <= text.size(); i += 8) {
                const size_t found = bytes.find(text.substr(i, 8));
                if (found != bytes.npos) places += line + " + " + std::to_string(found) + "\n";
            }
        }
        close(memory);
        return places;
    }

  private:
    int terminal = -1;
    pid_t pid = -1;
};

/// What a program does that links the library; the password comes on standard input.
void BeSuchAProgram(const char* port) {
    char password[sizeof(kPassword)] = {};
    ASSERT_EQ(read(STDIN_FILENO, password, sizeof(kPassword) - 1), ssize_t{sizeof(kPassword) - 1});
    TestSession session;
    session.Connect(static_cast<uint16_t>(std::stoi(port)), kUser);
    session.SetPassword(password);
    OPENSSL_cleanse(password, sizeof(password));
    EXPECT_EQ(session.CLAuthenticateUser(session.result.data()), zwmgmt::kSuccess);
    session.Run({"system", "listdrivers"});
}

}  // namespace

TEST(Secrets, APasswordThatWasSentIsInNoMemory) {
    if (const char* port = std::getenv("AGENT")) return BeSuchAProgram(port);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers keep a memory of their own";
#endif
    const TemporaryFile password(std::string(kPassword) + "\n");
    SetReadableByOthers(password.Path(), false);
    const CredentialsHome home;
    std::string front_end;
    for (const std::string& word : home.Within({ZWCLI_PATH, "--verify", "off", "--user", kUser,
                                                "--port", "PORT", "system", "listdrivers "})) {
        front_end += word + " ";
    }
    const std::string own = std::filesystem::read_symlink("/proc/self/exe").string();
    const Table<std::string, bool, bool> rows = {
        {front_end + "--password-file " + password.Path(), false, false},
        {front_end + "--password-file - <" + password.Path(), false, false},
        {front_end + "--trace /dev/null --trace-data", true, false},
        {front_end, false, true},
        {"/usr/bin/env AGENT=PORT " + own + " --gtest_filter=Secrets.* <" + password.Path(), false,
         false},
    };
    const std::string proxy_line = std::string(ZMSIM_PATH) + " --record " + password.Path() +
                                   ".jsonl --known-agents " + password.Path() +
                                   ".known --agent 127.0.0.1:";
    for (const char* version : {"1.2", "1.3"}) {
        for (const auto& [command, stored, asked] : rows) {
            StallingAgent stalling;
            home.Write(stored ? std::string(kUser) + " " + kPassword + "\n" : "", false);
            Program proxy(proxy_line + std::to_string(stalling.agent.Port()) + " --tls " + version);
            const int port = std::stoi(proxy.ReadUntil("\n"));
            Program program(Replaced(command, "PORT", std::to_string(port)));
            if (asked) {
                program.ReadUntil("for 127.0.0.1: ");
                program.Type(std::string(kPassword) + "\n");
            }
            stalling.reached.get_future().wait();
            const std::string places = program.PlacesOf(kPassword);
            if (places == "?") GTEST_SKIP() << "no process may look into another";
            EXPECT_EQ(places, "") << command;
            EXPECT_NE(program.PlacesOf(kUser), "") << "what is there is found: " << command;
            EXPECT_EQ(proxy.PlacesOf(kPassword), "") << command;
            for (const char* end : {".jsonl", ".known", ".known.lock"}) {
                std::filesystem::remove(password.Path() + end);
            }
        }
    }
}
