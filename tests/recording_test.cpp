/// Recordings of what an agent answers: the proxy that makes them, and answering from them.
#include "simulator/recording.h"

#include <cstring>
#include <filesystem>
#include <optional>

#include "platform/file.h"
#include "simulator/relay.h"
#include "simulator/replay.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

constexpr char kHead[] = R"({"format":"korvane_zmsim recording","version":1})"
                         "\n";
constexpr char kSecret[] = "a-secret-of-24-bytes-now";

struct Served {
    explicit Served(agent::ServeClient serve) : server(std::move(serve), {}) {
        std::string error;
        EXPECT_TRUE(server.Start(&error)) << error;
    }
    agent::Server server;
};

/// What passes a proxy on its way to the agent of a port, recorded.
class Recorded {
  public:
    explicit Recorded(uint16_t port, const std::string& known = "") : known_agents(known) {
        std::string error;
        EXPECT_TRUE(recorder.Open(path, &error)) << error;
        proxy.emplace(zmsim::RelayTo({"127.0.0.1", port, known_agents.Path()}, recorder));
    }
    ~Recorded() {
        proxy.reset();
        recorder.Close();
        std::filesystem::remove(path);
        std::filesystem::remove(known_agents.Path() + ".lock");
    }
    uint16_t Port() const { return proxy->server.Port(); }

    const TemporaryFile known_agents;
    const std::string path = known_agents.Path() + ".jsonl";

  private:
    zmsim::Recorder recorder;
    std::optional<Served> proxy;
};

/// What a client sees of a session in which the agent answers once, with everything set, and goes.
std::string SeenOfAnOddAgent(uint16_t port) {
    TestSession session;
    std::string seen = std::to_string(session.Connect(port));
    for (int i = 0; i < 2; ++i) {
        seen += " " + std::to_string(session.Run({"system", "listdrivers"}));
        const Bytes header = Message(session.LastReplyHeader());
        seen.append(header.begin(), header.end());
    }
    return seen + std::to_string(session.AgentWordSize());
}

}  // namespace

TEST(Recording, ShowsAClientWhatTheAgentHasShown) {
    SimulatedAgent agent("linux", {.login = agent::OneUser{"keeper", kSecret}});
    const TemporaryFile right(kSecret), wrong("no");
    const TemporaryFile package(std::string(40'000, 'x'), "-KorvaneZwire-4.3.0.tar.gz");
    SetReadableByOthers(right.Path(), false);
    const Table<const TemporaryFile&, std::string> lines = {
        {wrong, "korvane listadapterprops"},
        {right, "korvane listadapterprops"},
        {right, "--format json korvane listports pci=0000:05:00.4"},
        {right, "korvane listports pci=nowhere"},
        {right, "filter listx3"},
        {right, "filter addx3 ifname=eth2 id=5 sip=10.1.0.0/16 action=drop"},
        {right, "filter listx3"},
        {right, "net ping ip=10.0.0.7 ipversion=ipv4 numpkts=4"},
        {right, "net ping getresult"},
        {right, "net ping getresult"},
        {right, "system install type=nic,toe zwirepath=" + package.Path()},
        {right, "system getinstallresult"},
        {right, "system getinstallresult"},
    };
    const auto run = [&](uint16_t port) {
        std::string seen;
        for (const auto& [password, line] : lines) {
            auto words = Words("--user keeper --password-file " + password.Path() + " " + line);
            const ProcessResult told = Zwcli(port, words);
            seen += line + " " + std::to_string(told.exit_status) + told.out + told.err + "\n";
        }
        return Replaced(seen, std::to_string(port), "PORT");
    };
    std::string text, error, original;
    {
        const Recorded recorded(agent.Port());
        original = run(recorded.Port());
        text = ContentOf(recorded.path);
        EXPECT_FALSE(platform::ReadableByOthers(recorded.path.c_str()));
    }
    EXPECT_NE(original.find("4 received = 4"), original.npos) << original;
    for (const char* secret : {kSecret, "keeper", "6B6565706572", "612D7365", "78787878"}) {
        EXPECT_EQ(text.find(secret), text.npos) << "passwords, names, files: " << secret;
    }
    zmsim::Recording recording;
    ASSERT_TRUE(recording.Parse(text, &error)) << error;
    const Served replay(zmsim::ReplayOf(recording));
    agent.Stop();
    EXPECT_EQ(run(replay.server.Port()), original);

    testing::internal::CaptureStderr();
    EXPECT_EQ(Zwcli(replay.server.Port(),
                    {"--user", "keeper", "--password-file", right.Path(), "filter", "listadapters"})
                  .exit_status,
              5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "korvane_zmsim: not in the recording: filter listadapters, 0 bytes of data\n");
}

TEST(Recording, KeepsOddHeadersAndHowASessionEnds) {
    const RawAgent agent([](SSL* ssl) {
        _Message header = {};
        std::memset(&header, 0x81, kHeaderSize);
        ReadFrom(ssl, kHeaderSize + sizeof(LoginRecord));
        header.status = 0;
        header.data_length = 0;
        WriteTo(ssl, Message(header));
        ReadFrom(ssl, kHeaderSize);
        header.data_length = 3;
        WriteTo(ssl, Message(header, {1, 2, 0xFF}));
        ReadFrom(ssl, kHeaderSize);
    });
    testing::internal::CaptureStderr();
    const Recorded recorded(agent.Port());
    const std::string seen = SeenOfAnOddAgent(recorded.Port());
    testing::internal::GetCapturedStderr();
    zmsim::Recording recording;
    std::string error;
    ASSERT_TRUE(recording.Parse(ContentOf(recorded.path), &error)) << error;
    const Served replay(zmsim::ReplayOf(recording));
    EXPECT_EQ(SeenOfAnOddAgent(replay.server.Port()), seen);
    EXPECT_EQ(SeenOfAnOddAgent(agent.Port()), seen);
}

TEST(Recording, IsReadStrictly) {
    const std::string opening = R"({"command":"opening","reply":{"os_type":2}})";
    const auto reply = [](const std::string& members) {
        return R"({"request":{"service":4,"opcode":142},"reply":{)" + members + "}}";
    };
    const Table<std::string, std::string> rows = {
        {opening, ""},
        {opening + "\n" + reply(R"("status":97,"data_length":5)"), ""},
        {opening + "\r\n" + reply(R"("data_length":2,"data":"00fF")") + "\r\n", ""},
        {"", "2: no session was opened"},
        {"{", "2: not JSON"},
        {"7", "2: line: expected an object"},
        {R"({"command":"opening","reply":{},"more":1})", "2: more: unknown name"},
        {R"({"command":"opening"})", "2: reply is missing"},
        {R"({"reply":{}})", "2: request is missing"},
        {R"({"request":{"service":[[[4]]]},"reply":{}})", "2: unknown value"},
        {R"({"request":{"service":4,"status":1},"reply":{}})", "2: request.status: unknown name"},
        {R"({"request":7,"reply":{}})", "2: request: expected an object"},
        {reply(R"("status":-1)"), "2: reply.status: expected a number from 0 to 4294967295"},
        {reply(R"("os_type":256)"), "2: reply.os_type: expected a number from 0 to 255"},
        {reply(R"("opcode":1.5)"), "2: reply.opcode: expected a number from 0 to 65535"},
        {reply(R"("data":"0")"), "2: reply.data: not bytes as hexadecimal digits"},
        {reply(R"("data":"0g")"), "2: reply.data: not bytes as hexadecimal digits"},
        {reply(R"("data":7)"), "2: reply.data: expected a text"},
        {reply(R"("data":"00")"), "2: reply.data: 1 bytes instead of 0"},
        {reply(R"("data_length":4294967295)"), "2: reply.data: 0 bytes instead of 4294967295"},
        {reply(R"("status":6,"data_length":1,"data":"00")"), "2: reply.data: 1 bytes instead of 0"},
    };
    for (const auto& [text, said] : rows) {
        zmsim::Recording recording;
        std::string error;
        EXPECT_EQ(recording.Parse(kHead + text, &error), said.empty()) << text;
        EXPECT_TRUE(error.starts_with(said)) << error;
    }
    for (const char* head : {"{}", R"({"format":"korvane_zmsim recording","version":2})"}) {
        const TemporaryFile file(std::string(head) + "\n" + opening);
        const ProcessResult run = RunProcess({ZMSIM_PATH, "--replay", file.Path()});
        EXPECT_EQ(run.exit_status, 2) << head;
        EXPECT_NE(run.err.find(file.Path() + ":1: "), run.err.npos) << run.err;
    }
}

TEST(Recording, IsMadeAndAnsweredFromByTheProgram) {
    SimulatedAgent agent("xen");
    const TemporaryFile known("");
    const std::string path = known.Path() + ".jsonl";
    const auto record = Words(ZMSIM_PATH " --record " + path + " --known-agents " + known.Path() +
                              " --agent 127.0.0.1:" + std::to_string(agent.Port()));
    const auto drivers = [](BackgroundProcess& simulator) {
        const auto port = static_cast<uint16_t>(std::stoi(simulator.ReadLine()));
        return Zwcli(port, {"system", "listdrivers"}).out;
    };
    BackgroundProcess proxy(record);
    const std::string shown = drivers(proxy);
    EXPECT_EQ(proxy.Terminate(), 0);
    EXPECT_NE(shown, "");
    BackgroundProcess replay({ZMSIM_PATH, "--replay", path});
    EXPECT_EQ(drivers(replay), shown);
    std::filesystem::remove(path);
    std::filesystem::remove(known.Path() + ".lock");
}

TEST(Recording, SendsNothingToAnAgentWithAnotherKey) {
    std::string got;
    RawAgent impostor([&](SSL* ssl) {
        for (Bytes byte; !(byte = ReadFrom(ssl, 1)).empty();) got += static_cast<char>(byte[0]);
    });
    const Recorded recorded(impostor.Port(), "127.0.0.1:" + std::to_string(impostor.Port()) +
                                                 " SHA256:" + std::string(43, 'A') + "\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Zwcli(recorded.Port(), {"system", "listdrivers"}).exit_status, 3);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("has changed; nothing was sent to it"),
              std::string::npos);
    EXPECT_EQ(got, "");
    EXPECT_EQ(ContentOf(recorded.path), kHead);
}
