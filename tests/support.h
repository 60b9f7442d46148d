/// What the tests share: agents to talk to, a session whose text is captured, the real front end.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "agent/file_receiver.h"
#include "agent/server.h"
#include "simulator/faulty_wire.h"
#include "simulator/refusing_host.h"
#include "simulator/scenario_host.h"
#include "tests/process.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace testing_support {

namespace agent = zwmgmt::agent;

using Bytes = std::vector<uint8_t>;

/// Rows of cases.
template <class... Columns>
using Table = std::vector<std::tuple<Columns...>>;

/// The cases of tests/cases/NAME: a line each, cut at " | "; cells that are not there are empty.
/// A line "@name = text" gives a text a name in the cells below it. \n, \t, \r, \0, \e, \s (blank)
/// stand for characters; `#` begins a remark.
std::vector<std::vector<std::string>> Cases(const std::string& name);
/// What stands between blanks; words with blanks stand in double quotes.
std::vector<std::string> Words(const std::string& text);
std::vector<const char*> Pointers(const std::vector<std::string>& words);
/// The bytes of a text like "0a 00".
std::string Unhex(const std::string& digits);
/// The text of tests/listings/NAME.
std::string Listing(const std::string& name);
/// That the text is the listing's; where it is not, it is left in a file that the failure names.
void ExpectListing(const std::string& name, const std::string& text);
std::string Replaced(std::string text, const std::string& from, const std::string& to);
/// What stands between the separators.
std::vector<std::string> Split(const std::string& text, const std::string& separator);
std::string ContentOf(const std::string& path);
template <class Record>
Bytes BytesOf(const Record& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return Bytes(bytes, bytes + sizeof(record));
}
/// A certificate, and its key where there is one.
std::string Pem(X509* certificate, EVP_PKEY* key);
inline int Number(const std::string& text) { return static_cast<int>(std::stol(text, nullptr, 0)); }

/// A host model whose answers the test writes.
class CannedHost : public agent::HostModel {
  public:
    using Answerer = std::function<agent::Reply(uint8_t, uint16_t, std::span<const uint8_t>)>;

    explicit CannedHost(
        Answerer canned_answer = [](auto...) { return agent::Reply{}; },
        uint8_t canned_os = zwmgmt::kLinux, uint8_t canned_word_size = 8)
        : answer(std::move(canned_answer)), os(canned_os), word_size(canned_word_size) {}
    explicit CannedHost(agent::Reply reply, uint8_t canned_os = zwmgmt::kLinux)
        : CannedHost([reply](auto...) { return reply; }, canned_os) {}

    uint8_t OsType() const override { return os; }
    uint8_t WordSize() const override { return word_size; }
    agent::Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override {
        return answer(service, opcode, data);
    }

    Answerer answer;
    uint8_t os;
    uint8_t word_size;
};

/// Takes files and keeps those that came whole.
class FileHost : public CannedHost {
  public:
    struct File {
        agent::FileAnnouncement announced;
        std::string content;
    };

    using CannedHost::CannedHost;
    agent::FileOpening OpenFile(const agent::FileAnnouncement& file) override;

    std::vector<File> files;
    int broken_off = 0;
};

zmsim::Scenario BuiltinScenario(const std::string& os);

/// The simulated agent on a free port, started.
class TestAgent {
  public:
    explicit TestAgent(agent::HostModel& model, agent::Options options = {});
    uint16_t Port() const { return server.Port(); }
    void Stop() { server.Stop(); }

  private:
    agent::Server server;
};

/// The simulated agent of an OS or a scenario, with its host.
struct WithHost {
    zmsim::ScenarioHost host;
};
class SimulatedAgent : public WithHost, public TestAgent {
  public:
    explicit SimulatedAgent(const zmsim::Scenario& scenario, agent::Options options = {})
        : WithHost{zmsim::ScenarioHost(scenario)}, TestAgent(host, std::move(options)) {}
    explicit SimulatedAgent(const char* os, agent::Options options = {})
        : SimulatedAgent(BuiltinScenario(os), std::move(options)) {}
};

/// Accepts one TLS client after the other on a free port and lets the test speak to each, message
/// by message, however wrongly it likes.
class RawAgent {
  public:
    explicit RawAgent(
        std::function<void(SSL*)> talk, std::function<void(SSL_CTX*)> adjust = [](SSL_CTX*) {});
    /// Speaks without TLS.
    explicit RawAgent(std::function<void(zwmgmt::platform::SocketHandle)> talk_plain);
    ~RawAgent();
    uint16_t Port() const { return port; }

  private:
    void Accept(std::function<void(zwmgmt::platform::SocketHandle)> serve);

    agent::TlsContext context;
    zwmgmt::platform::SocketHandle listener;
    uint16_t port = 0;
    std::atomic<bool> stopping = false;
    std::thread thread;
};

/// One message as it travels.
Bytes Message(const _Message& header, const Bytes& data = {});
/// A reply's header; what it says of the length need not be true.
Bytes Reply(uint32_t status, uint32_t data_length = 0);
/// Reads exactly `length` bytes, or fewer when the client goes.
Bytes ReadFrom(SSL* ssl, size_t length);
bool WriteTo(SSL* ssl, const Bytes& bytes);
/// Waits until the client has gone.
void AwaitEnd(SSL* ssl);
/// Reads the opening and accepts it.
void AcceptOpening(SSL* ssl);

/// A session with its text captured and a result buffer, torn down at the end.
class TestSession : public ZwMgmt_interface {
  public:
    TestSession();
    /// Connected to the agent of this machine at the port.
    explicit TestSession(uint16_t agent_port);
    ~TestSession() override;
    TestSession(const TestSession&) = delete;
    TestSession& operator=(const TestSession&) = delete;

    uint32_t Connect(uint16_t port, const char* user = "operator");
    /// Sends a request given in words and returns the result of Client_ProcessRequest.
    int Run(const std::vector<const char*>& words, void** out = nullptr);
    /// What was printed since the last call.
    std::string Printed();

    std::vector<char> result = std::vector<char>(zwmgmt::kResultBufferSize, 'x');
    _Message message = {};

  private:
    FILE* text;
};

/// A session connected to an agent of its own, which answers for the host.
struct WithAgent {
    TestAgent agent;
};
class Linked : public WithAgent, public TestSession {
  public:
    explicit Linked(agent::HostModel& host, agent::Options options = {})
        : WithAgent{TestAgent(host, std::move(options))}, TestSession(agent.Port()) {}
};

/// A session that has learnt this OS from an agent; the agent is gone. One an OS, for all tests.
TestSession& SessionOf(int os_type);

/// What a session with this host is told by a command.
struct Told {
    int result;
    uint32_t status;
    std::string printed;
};
Told Tell(agent::HostModel& host, const std::vector<const char*>& words);

/// What korvane_zwcli says where it is told to trust everybody.
inline const std::string kNotVerified =
    "korvane_zwcli: warning: anybody could be the agent: nothing is verified (--verify off)\n";
inline std::string WithoutWarning(const std::string& err) {
    return Replaced(err, kNotVerified, "");
}

/// korvane_zwcli with --port of the agent and the given words; it trusts the agent.
ProcessResult Zwcli(uint16_t port, std::vector<std::string> words, const std::string& input = "");

/// A Linux agent that counts what the front end sends it until the logout; two messages open a
/// session.
struct CountingAgent {
    std::atomic<int> messages = 0, openings = 0;
    SimulatedAgent agent{"linux", {.tap = [this](auto header, auto) {
                             const uint8_t service = header[offsetof(_Message, service)];
                             if (service == 0 && header[offsetof(_Message, opcode)] != 0) return;
                             ++messages;
                             openings += service == 0;
                         }}};

    ProcessResult Run(const std::string& words, const std::string& input = "") {
        messages = openings = 0;
        return Zwcli(agent.Port(), Words(words), input);
    }
};

/// A file with the text, removed at the end.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& text, const std::string& name_end = "");
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return path; }

  private:
    std::string path;
};

}  // namespace testing_support
