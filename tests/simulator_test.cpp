/// korvane_zmsim: the program, its scenarios, and the wire half's own manners.
#include <openssl/err.h>

#include <cstring>
#include <filesystem>
#include <future>

#include "session/race.h"
#include "session/tls.h"
#include "tests/support.h"
#include "zwmgmt/policy.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

/// The PEM texts of a throw-away pair.
std::string CertificateAndKey() {
    std::string error;
    const agent::TlsContext context = agent::MakeServerContext("", "", &error);
    return Pem(SSL_CTX_get0_certificate(context.get()), SSL_CTX_get0_privatekey(context.get()));
}

std::string ErrorOf(const std::string& json) {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_FALSE(zmsim::ParseScenario(json, &scenario, &error)) << json;
    return error;
}

/// The record with these bytes at an offset.
template <class Record, class Value>
Record With(Record record, size_t offset, const Value& value) {
    std::memcpy(reinterpret_cast<char*>(&record) + offset, &value, sizeof(value));
    return record;
}

/// A client that says what it likes, message by message.
class RawClient {
  public:
    explicit RawClient(uint16_t port)
        : socket(ConnectionRace({&platform::kIpv4Loopback, 1}, port).Run(limit)) {
        EXPECT_NE(socket, platform::kNoSocket);
        ssl = SSL_new(context);
        EXPECT_TRUE(tls::Attach(ssl, socket));
        SSL_set_connect_state(ssl);
        EXPECT_EQ(tls::Handshake(ssl, limit), tls::Outcome::kDone);
    }
    ~RawClient() {
        SSL_free(ssl);
        SSL_CTX_free(context);
        platform::CloseSocket(socket);
    }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /// The reply's header; empty when the agent goes instead.
    Bytes Ask(uint8_t service, uint16_t opcode, const Bytes& data) {
        _Message header = {};
        header.service = service;
        header.opcode = opcode;
        header.data_length = static_cast<uint32_t>(data.size());
        WriteTo(ssl, Message(header, data));
        return ReadFrom(ssl, kHeaderSize);
    }
    Bytes Open() { return Ask(0, 0, Bytes(sizeof(LoginRecord))); }
    SSL* Tls() { return ssl; }
    void AwaitMore() {
        platform::WaitFor(socket, platform::Direction::kRead, platform::Milliseconds(60'000));
    }

  private:
    static constexpr platform::Milliseconds limit{60'000};
    SSL_CTX* context = SSL_CTX_new(TLS_client_method());
    SSL* ssl = nullptr;
    platform::SocketHandle socket;
};

/// A reply's header without data.
Bytes Header(uint8_t os_type, uint8_t service, uint16_t opcode, uint32_t status) {
    _Message header = {};
    header.os_type = os_type;
    header.service = service;
    header.opcode = opcode;
    header.status = status;
    return Message(header);
}

uint16_t PortOf(BackgroundProcess& simulator) {
    return static_cast<uint16_t>(std::stoi(simulator.ReadLine()));
}

}  // namespace

TEST(Simulator, PrintsItsPortServesManyAndStopsCleanly) {
    BackgroundProcess simulator({ZMSIM_PATH, "--os", "xen", "--word-size", "16"});
    const uint16_t port = PortOf(simulator);
    {
        TestSession first;
        TestSession second;
        ASSERT_EQ(first.Connect(port), kSuccess);
        ASSERT_EQ(second.Connect(port), kSuccess);
        EXPECT_EQ(first.AgentWordSize(), 16u);
        EXPECT_EQ(first.OsType(), kXen);
        EXPECT_EQ(second.Run({"korvane", "listadapterprops"}), 0);
        EXPECT_EQ(first.Run({"korvane", "listadapterprops"}), 0);
        EXPECT_EQ(first.Printed(), second.Printed());
        EXPECT_EQ(simulator.Terminate(), 0) << "with two clients connected";
    }
}

TEST(Simulator, TakesAScenarioALoginAndACertificate) {
    const TemporaryFile scenario(
        R"({"os": "esx", "word_size": 4, "adapters": [{"chip_type": "X5", "card_name": "vmnic7"}]})");
    const TemporaryFile password("secret\r\n");
    const TemporaryFile pair(CertificateAndKey());
    BackgroundProcess simulator(Words(ZMSIM_PATH " --tls 1.2 --listen 127.0.0.2 --scenario " +
                                      scenario.Path() + " --user admin --password-file " +
                                      password.Path() + " --certificate " + pair.Path()));
    const uint16_t port = PortOf(simulator);
    TestSession session;
    ASSERT_EQ(session.CLConnectToServer("127.0.0.2", "admin", port, session.result.data()),
              kSuccess);
    ASSERT_TRUE(session.LoginRequired());
    EXPECT_EQ(session.FetchCapabilities(session.result.data()), kLoginRejected)
        << "nothing but a login is answered";
    session.SetPassword("secret");
    ASSERT_EQ(session.CLAuthenticateUser(session.result.data()), kSuccess);
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
    EXPECT_NE(session.Printed().find("Card Name                     : vmnic7\n"),
              std::string::npos);
    EXPECT_EQ(simulator.Terminate(), 0);
}

TEST(Simulator, RefusesWrongOptions) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    const TemporaryFile empty("");
    const TemporaryFile long_line(std::string(65, 'x') + "\n");
    const TemporaryFile with_nul(std::string("a\0b", 3));
    const std::string pair = CertificateAndKey();
    const TemporaryFile no_key(pair.substr(0, pair.find("-----BEGIN PRIVATE")));
    const std::string pipe = empty.Path() + ".pipe";
    const std::vector<std::string> irregular = FilesThatAreNotRegular(pipe);
    const std::string device = irregular.front() == pipe ? irregular.back() : irregular.front();
    CannedHost host;
    TestAgent other(host);
    const std::string password = "--user u --password-file ";
    const Table<std::string, int, std::string> rows = {
        {"--os plan9", 2, "plan9"},
        {"--word-size 5", 2, "5"},
        {"--user u", 2, "--password-file"},
        {"--user \"\" --password-file " + empty.Path(), 2, "--user: the value is empty"},
        {"--port 65536", 2, "65536"},
        {"--tls 1.1", 2, "1.1"},
        {"--scenario /no/such", 2, "cannot read /no/such: there is no such file"},
        {"--scenario " + folder, 2, "neither a file nor a pipe"},
        {"--scenario " + device, 2, "neither a file nor a pipe"},
        {password + folder, 2, "neither a file nor a pipe"},
        {password + device, 2, "neither a file nor a pipe"},
        {password + empty.Path(), 2, "no password: it is empty"},
        {password + long_line.Path(), 2, "longer than 64 bytes"},
        {password + with_nul.Path(), 2, "a NUL byte"},
        {"--certificate /no/such", 1, "cannot read /no/such: there is no such file"},
        {"--certificate " + folder, 1, "neither a file nor a pipe"},
        {"--certificate " + empty.Path(), 1, "cannot use the certificate of"},
        {"--certificate " + no_key.Path(), 1, "cannot use the key of"},
        {"--listen host", 1, "no address of this machine, nor localhost or any: host"},
        {"--record x", 2, "--agent"},
        {"--record x --agent node7:0", 2, "--agent: \"node7:0\""},
        {"--record " + empty.Path() + " --agent node7", 2, "cannot write"},
        {"--replay " + empty.Path() + " --os xen", 2, "--os"},
        {"--replay " + empty.Path(), 2, ":1: no session was opened"},
        {"--port " + std::to_string(other.Port()), 1, std::to_string(other.Port()) + ": "},
    };
    for (const auto& [words, status, text] : rows) {
        const ProcessResult run = RunProcess(Words(ZMSIM_PATH " " + words));
        EXPECT_EQ(run.exit_status, status) << words;
        EXPECT_NE(run.err.find(text), std::string::npos) << words << ": " << run.err;
    }
    std::filesystem::remove(pipe);
}

TEST(Scenario, WrongOnesAreRefusedWithPlaceAndReason) {
    const Table<const char*, const char*> rows = {
        {R"([])", "scenario: expected an object"},
        {R"({})", "scenario: os is missing"},
        {R"({"os": "plan9"})", "os: not an agent OS"},
        {R"({"os": "mac", "adaptors": []})", "adaptors: unknown name"},
        {R"({"os": "mac", "adapters": {}})", "adapters: expected an array"},
        {R"({"os": "mac", "adapters": [{"vendor": 1}]})", "adapters[0].vendor: unknown name"},
        {R"({"os": "mac", "adapters": [{}, {"chip_type": "X345"}]})",
         "adapters[1].chip_type: longer than 3"},
        {R"({"os": "mac", "adapters": [{"max_wrs": 32768}]})", "adapters[0].max_wrs: out of range"},
        {R"({"os": "mac", "adapters": [{"vendor_id": "0x4b56z"}]})",
         "adapters[0].vendor_id: not a number: 0x4b56z"},
        {R"({"os": "mac", "adapters": [{"mss": -1}]})", "adapters[0].mss: out of range"},
        {R"({"os": "mac", "adapters": [{"ports": [{"statistics": [{"name": 1}]}]}]})",
         "adapters[0].ports[0].statistics[0].name: expected a text"},
        {R"({"os": "mac", "drivers": [1]})", "drivers[0]: expected an object"},
        {R"({"os": "mac", "capabilities": {"fcoe": 65536}})", "capabilities.fcoe: out of range"},
    };
    for (const auto& [json, error] : rows) {
        EXPECT_EQ(ErrorOf(json), error);
    }
    EXPECT_NE(ErrorOf("{"), "");
    zmsim::Scenario scenario;
    std::string error;
    const char* bounds = R"({"os": "mac", "adapters": [{"max_wrs": -32768}, {"max_wrs": 32767}]})";
    EXPECT_TRUE(zmsim::ParseScenario(bounds, &scenario, &error)) << error;
}

TEST(ScenarioHost, SaysWhyAnAdapterHasNoPorts) {
    for (const auto& [os, status] : {std::pair{"solaris", 72u}, {"linux", 97u}}) {
        zmsim::Scenario scenario = BuiltinScenario(os);
        scenario.adapters[0].ports.clear();
        const std::string_view pci = FixedText(scenario.adapters[0].card.pci_bus_location);
        const Bytes place(pci.begin(), pci.end());
        EXPECT_EQ(zmsim::ScenarioHost(scenario).Answer(4, 136, place).status, status) << os;
    }
}

TEST(Agent, EndsASessionThatNeverOpens) {
    CannedHost host;
    TestAgent impatient(host, {.limits = {.opening = platform::Milliseconds(1)}});
    AwaitEnd(RawClient(impatient.Port()).Tls());
}

TEST(Agent, AnswersAWrongPasswordLater) {
    CannedHost host;
    std::promise<void> tried;
    int messages = 0;
    const auto count = [&](auto, auto) {
        if (++messages == 2) tried.set_value();
    };
    TestAgent agent(host, {.login = agent::OneUser{"operator", "secret"},
                           .tap = count,
                           .rejection_delay = std::chrono::hours(1)});
    RawClient client(agent.Port());
    client.Open();
    std::thread stopper([&] {
        tried.get_future().wait();
        agent.Stop();
    });
    EXPECT_TRUE(client.Open().empty()) << "the agent stops before it answers";
    stopper.join();
}

TEST(Agent, ChangesNothingWithoutTheToken) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host, {.grant_token = false});
    RawClient client(agent.Port());
    client.Open();
    const Table<uint8_t, std::vector<uint16_t>> changes = {
        {2, {101, 104, 106}},
        {4, {139, 140}},
        {5, {143, 145, 146, 147}},
        {6, {170, 171, 172, 175, 299, 300, 301, 324}},
        {7, {177, 178, 179}}};
    for (const auto& [to, opcodes] : changes) {
        for (const uint16_t opcode : opcodes) {
            EXPECT_EQ(client.Ask(to, opcode, {}), Header(kLinux, to, opcode, 9)) << opcode;
        }
    }
    EXPECT_EQ(client.Ask(7, 180, {}), Header(kLinux, 7, 180, 265)) << "a question is answered";
}

TEST(Agent, SendsAllCertificatesAndAGoodbyeUnlessItIsCut) {
    const TemporaryFile chain(CertificateAndKey() + CertificateAndKey());
    CannedHost host;
    for (const bool goodbye : {false, true}) {
        TestAgent agent(host, {.certificate_file = chain.Path(),
                               .wrap = zmsim::WithFaults({.cut_after = 26, .goodbye = goodbye})});
        EXPECT_EQ(ERR_peek_error(), 0u) << "the end of the texts is none";
        RawClient client(agent.Port());
        EXPECT_EQ(sk_X509_num(SSL_get_peer_cert_chain(client.Tls())), 2);
        client.Open();
        client.Open();
        EXPECT_EQ(SSL_get_shutdown(client.Tls()), goodbye ? SSL_RECEIVED_SHUTDOWN : 0);
    }
}

TEST(Tls, WhatIsUnreadIsSeenHoweverShortTheLastOperation) {
    RawAgent agent(
        [](SSL* ssl) {
            WriteTo(ssl, ReadFrom(ssl, 1));
            AwaitEnd(ssl);
        },
        [](SSL_CTX* context) { SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION); });
    RawClient client(agent.Port());
    EXPECT_FALSE(tls::HasUnreadData(client.Tls()));
    EXPECT_EQ(tls::WriteSome(client.Tls(), "a", 1, platform::Milliseconds(0), false).bytes, 1u);
    client.AwaitMore();
    EXPECT_TRUE(tls::HasUnreadData(client.Tls()));
}

TEST(FileReceiver, TakesNamesThatStayInTheirFolder) {
    const auto expect = [](const std::vector<std::string>& names, uint32_t status) {
        for (const std::string& name : names) {
            FileTransferRecord record = {};
            SetFixedText(record.file_name, name);
            CannedHost host;
            EXPECT_EQ(agent::FileReceiver(host).Take(BytesOf(record)), status) << name;
        }
    };
    expect({"kxgb4-1.0.tar.gz", std::string(32, 'k') + "-1", "a b\xc3\xa4"}, 0);
    expect({"", ".", "..", ".hidden", "-1.0", "a/b", "a\\b", "a\nb: installed", "a\x7f"}, 6);
    expect({std::string(33, 'k')}, 6);
    // Chunk count, both ends of the data, size, chunk length: nothing of a chunk belongs here.
    FileTransferRecord bare = {};
    bare.file_name[0] = 'a';
    for (const size_t offset : {4, 13, 16396, 16397, 16405}) {
        const Bytes stray = BytesOf(With(bare, offset, '\1'));
        CannedHost host;
        EXPECT_EQ(agent::FileReceiver(host).Take(stray), zwmgmt::kInvalidValue) << offset;
    }
}

TEST(ScenarioHost, TakesAsManyRulesAndPoliciesAsFit) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    _Filter rule = {};
    SetFixedText(rule.interface_name, "eth2");
    for (int i = 0; i <= 1024; ++i) {
        EXPECT_EQ(host.Answer(kFilter, 172, BytesOf(rule)).status, i < 1024 ? 0u : 259u) << i;
    }
    host.Answer(kSystem, kLoadDriver, Bytes({'x', '3', '_', 't', 'o', 'm'}));
    std::vector<_OfldPolicy> policies;
    std::string error;
    ASSERT_EQ(ParsePolicy().ParsePolicyString("any =>", "eth2", &policies, &error), 0);
    const Bytes policy = BytesOf(With(policies.front(), 65, uint8_t{2}));
    for (int i = 0; i <= 255; ++i) {
        EXPECT_EQ(host.Answer(kTm, kAddPolicy, policy).status, i < 255 ? 0u : 259u) << i;
    }
}
