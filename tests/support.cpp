#include "tests/support.h"

#include <cstring>
#include <filesystem>
#include <fstream>

#include "session/tls.h"

namespace testing_support {
namespace {

namespace platform = zwmgmt::platform;
namespace tls = zwmgmt::tls;

constexpr platform::Milliseconds kLongEnough{60'000};

}  // namespace

zmsim::Scenario BuiltinScenario(const std::string& os) {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_TRUE(zmsim::ParseScenario(zmsim::BuiltinScenarioJson(os), &scenario, &error)) << error;
    return scenario;
}

TestAgent::TestAgent(zmsim::HostModel& model, zmsim::AgentOptions options)
    : agent(model, std::move(options)) {
    std::string error;
    EXPECT_TRUE(agent.Start(&error)) << error;
}

RawAgent::RawAgent(std::function<void(SSL*)> talk, std::function<void(SSL_CTX*)> adjust) {
    std::string error;
    context = zmsim::MakeServerContext("", &error);
    EXPECT_TRUE(context) << error;
    adjust(context.get());
    Accept([this, talk](platform::SocketHandle socket) {
        SSL* ssl = SSL_new(context.get());
        EXPECT_TRUE(tls::Attach(ssl, socket));
        SSL_set_accept_state(ssl);
        if (tls::Handshake(ssl, kLongEnough) == tls::Outcome::kDone) talk(ssl);
        SSL_free(ssl);
    });
}

RawAgent::RawAgent(std::function<void(platform::SocketHandle)> talk_plain) {
    Accept(std::move(talk_plain));
}

void RawAgent::Accept(std::function<void(platform::SocketHandle)> serve) {
    platform::StartSockets();
    listener = platform::Listen({{127, 0, 0, 1}}, &port);
    EXPECT_NE(listener, platform::kNoSocket);
    thread = std::thread([this, serve = std::move(serve)] {
        while (!stopping) {
            const auto socket = platform::Accept(listener, platform::Milliseconds(50));
            if (socket == platform::kNoSocket) continue;
            serve(socket);
            platform::CloseSocket(socket);
        }
    });
}

RawAgent::~RawAgent() {
    stopping = true;
    thread.join();
    platform::CloseSocket(listener);
    platform::StopSockets();
}

Bytes Message(const _Message& header, const Bytes& data) {
    Bytes message(zwmgmt::kHeaderSize + data.size());
    std::memcpy(message.data(), &header, zwmgmt::kHeaderSize);
    std::copy(data.begin(), data.end(), message.begin() + zwmgmt::kHeaderSize);
    return message;
}

Bytes OpeningReply(uint8_t os_type, uint8_t word_size) {
    _Message header = {};
    header.os_type = os_type;
    header.word_size = word_size;
    header.rw_token = 1;
    return Message(header);
}

Bytes ReadFrom(SSL* ssl, size_t length) {
    Bytes bytes(length);
    size_t received = 0;
    while (received < length) {
        const auto moved =
            tls::ReadSome(ssl, bytes.data() + received, length - received, kLongEnough);
        if (moved.outcome != tls::Outcome::kDone) break;
        received += moved.bytes;
    }
    bytes.resize(received);
    return bytes;
}

bool WriteTo(SSL* ssl, const Bytes& bytes) {
    for (size_t sent = 0; sent < bytes.size();) {
        const auto moved =
            tls::WriteSome(ssl, bytes.data() + sent, bytes.size() - sent, kLongEnough);
        if (moved.outcome != tls::Outcome::kDone) return false;
        sent += moved.bytes;
    }
    return true;
}

void AwaitEnd(SSL* ssl) {
    while (!ReadFrom(ssl, 1).empty()) {
    }
}

void AcceptOpening(SSL* ssl) {
    ReadFrom(ssl, zwmgmt::kHeaderSize + sizeof(LoginRecord));
    WriteTo(ssl, OpeningReply());
}

TestSession::TestSession() : text(OpenScratchFile()) { SetOutputStream(text); }

TestSession::~TestSession() {
    CLDisconnectFromServer();
    std::fclose(text);
}

uint32_t TestSession::Connect(uint16_t agent_port, const char* user) {
    return CLConnectToServer("127.0.0.1", user, agent_port, result.data());
}

int TestSession::Run(const std::vector<const char*>& words, void** out) {
    zwmgmt::CommandWords command(words.data(), words.size());
    EXPECT_STREQ(command.Error(), "");
    return Client_ProcessRequest(&message, command.Request(), result.data(), out);
}

std::string TestSession::Printed() {
    std::fflush(text);
    std::rewind(text);
    std::string printed;
    char buffer[4096];
    for (size_t got; (got = std::fread(buffer, 1, sizeof(buffer), text)) > 0;) {
        printed.append(buffer, got);
    }
    std::fclose(text);
    text = OpenScratchFile();
    SetOutputStream(text);
    return printed;
}

ProcessResult Zwcli(uint16_t port, std::vector<std::string> words, const std::string& input) {
    std::vector<std::string> arguments = {ZWCLI_PATH, "--port", std::to_string(port)};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return RunProcess(arguments, input);
}

TemporaryFile::TemporaryFile(const std::string& text) {
    static std::atomic<int> count = 0;
    path = (std::filesystem::temp_directory_path() /
            ("zwmgmt-test-" + std::to_string(OwnProcessId()) + "-" + std::to_string(count++)))
               .string();
    std::ofstream(path, std::ios::binary) << text;
}

TemporaryFile::~TemporaryFile() { std::filesystem::remove(path); }

}  // namespace testing_support
