#include "tests/support.h"

#include <openssl/pem.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

#include "session/tls.h"

namespace testing_support {
namespace {

namespace platform = zwmgmt::platform;
namespace tls = zwmgmt::tls;

constexpr platform::Milliseconds kLongEnough{60'000};

std::string Unescaped(const std::string& cell) {
    constexpr std::string_view kLetters = "ntrse0", kCharacters("\n\t\r \x1b\0", 6);
    std::string text;
    for (size_t i = 0; i < cell.size(); ++i) {
        const size_t letter =
            cell[i] == '\\' && i + 1 < cell.size() ? kLetters.find(cell[i + 1]) : kLetters.npos;
        text += letter == kLetters.npos ? cell[i] : kCharacters[letter];
        if (letter != kLetters.npos) ++i;
    }
    return text;
}

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

}  // namespace

std::vector<std::vector<std::string>> Cases(const std::string& name) {
    std::ifstream file(TEST_CASES "/" + name, std::ios::binary);
    std::map<std::string, std::string> texts;
    std::vector<std::vector<std::string>> cases;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        if (const size_t sign = line.find(" = "); line[0] == '@' && sign != line.npos) {
            texts[line.substr(0, sign)] = Unescaped(Trimmed(line.substr(sign + 3)));
            continue;
        }
        std::vector<std::string> cells = Split(line + ' ', " | ");  // the last may be empty
        for (std::string& cell : cells) {
            cell = Unescaped(Trimmed(cell));
            for (auto text = texts.rbegin(); text != texts.rend(); ++text) {
                cell = Replaced(cell, text->first, text->second);
            }
        }
        cells.resize(8);
        cases.push_back(cells);
    }
    EXPECT_FALSE(cases.empty()) << name;
    return cases;
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> std::quoted(word);) words.push_back(word);
    return words;
}

std::vector<const char*> Pointers(const std::vector<std::string>& words) {
    std::vector<const char*> pointers;
    for (const std::string& word : words) pointers.push_back(word.c_str());
    return pointers;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    for (size_t end; (end = text.find(separator, begin)) != text.npos;) {
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    pieces.push_back(text.substr(begin));
    return pieces;
}

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Pem(X509* certificate, EVP_PKEY* key) {
    BIO* texts = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(texts, certificate);
    if (key != nullptr) {
        PEM_write_bio_PrivateKey(texts, key, nullptr, nullptr, 0, nullptr, nullptr);
    }
    char* bytes = nullptr;
    const auto length = static_cast<size_t>(BIO_get_mem_data(texts, &bytes));
    std::string pem(bytes, length);
    BIO_free(texts);
    return pem;
}

std::string Listing(const std::string& name) { return ContentOf(TEST_LISTINGS "/" + name); }

void ExpectListing(const std::string& name, const std::string& text) {
    if (text == Listing(name)) return;
    std::ofstream(testing::TempDir() + name, std::ios::binary) << text;
    ADD_FAILURE() << "not as in tests/listings: " << testing::TempDir() + name;
}

std::string Unhex(const std::string& digits) {
    std::string bytes;
    for (size_t i = 0; i < digits.size(); i += digits[i] == ' ' ? 1 : 2) {
        if (digits[i] != ' ')
            bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

agent::FileOpening FileHost::OpenFile(const agent::FileAnnouncement& file) {
    struct Sink : agent::FileSink {
        Sink(FileHost& file_host, const agent::FileAnnouncement& announced)
            : host(file_host), file{announced, ""} {}
        ~Sink() override { host.broken_off += !whole; }
        uint32_t Take(std::span<const uint8_t> piece) override {
            file.content.append(piece.begin(), piece.end());
            return 0;
        }
        uint32_t Finish() override {
            whole = true;
            host.files.push_back(file);
            return 0;
        }

        FileHost& host;
        File file;
        bool whole = false;
    };
    return {.status = 0, .sink = std::make_unique<Sink>(*this, file)};
}

zmsim::Scenario BuiltinScenario(const std::string& os) {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_TRUE(zmsim::ParseScenario(zmsim::BuiltinScenarioJson(os), &scenario, &error)) << error;
    return scenario;
}

TestAgent::TestAgent(agent::HostModel& model, agent::Options options)
    : server(model, std::move(options)) {
    std::string error;
    EXPECT_TRUE(server.Start(&error)) << error;
}

RawAgent::RawAgent(std::function<void(SSL*)> talk, std::function<void(SSL_CTX*)> adjust) {
    std::string error;
    context = agent::MakeServerContext("", "", &error);
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
    listener = platform::Listen(platform::kIpv4Loopback, &port);
    EXPECT_NE(listener, platform::kNoSocket);
    thread = std::thread([this, serve = std::move(serve)] {
        while (!stopping) {
            const auto socket = platform::Accept({&listener, 1}, platform::Milliseconds(50));
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

Bytes Reply(uint32_t status, uint32_t data_length) {
    _Message header = {};
    header.status = status;
    header.data_length = data_length;
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
    _Message accepted = {};
    accepted.os_type = zwmgmt::kLinux;
    accepted.word_size = 8;
    accepted.rw_token = 1;
    WriteTo(ssl, Message(accepted));
}

TestSession::TestSession() : text(OpenScratchFile()) { SetOutputStream(text); }

TestSession::TestSession(uint16_t agent_port) : TestSession() {
    EXPECT_EQ(Connect(agent_port), zwmgmt::kSuccess);
}

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

TestSession& SessionOf(int os_type) {
    static std::map<int, std::unique_ptr<TestSession>> sessions;
    auto& session = sessions[os_type];
    if (!session) {
        CannedHost host(agent::Reply{}, static_cast<uint8_t>(os_type));
        TestAgent agent(host);
        session = std::make_unique<TestSession>();
        EXPECT_EQ(session->Connect(agent.Port()), zwmgmt::kSuccess);
    }
    return *session;
}

Told Tell(agent::HostModel& host, const std::vector<const char*>& words) {
    Linked session(host);
    const int result = session.Run(words);
    return {result, session.LastStatus(), session.Printed()};
}

ProcessResult Zwcli(uint16_t port, std::vector<std::string> words, const std::string& input) {
    std::vector<std::string> arguments = {ZWCLI_PATH, "--verify", "off", "--port",
                                          std::to_string(port)};
    arguments.insert(arguments.end(), words.begin(), words.end());
    ProcessResult run = RunProcess(arguments, input);
    run.err = WithoutWarning(run.err);
    return run;
}

TemporaryFile::TemporaryFile(const std::string& text, const std::string& name_end) {
    static std::atomic<int> count = 0;
    path =
        (std::filesystem::temp_directory_path() / ("zwmgmt-test-" + std::to_string(OwnProcessId()) +
                                                   "-" + std::to_string(count++) + name_end))
            .string();
    std::ofstream(path, std::ios::binary) << text;
}

TemporaryFile::~TemporaryFile() { std::filesystem::remove(path); }

}  // namespace testing_support
