/// korvane_zmsim: the program, its scenarios, and the wire half's own manners.
#include <openssl/pem.h>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

/// The PEM texts of a throw-away pair.
std::string CertificateAndKey() {
    std::string error;
    const zmsim::TlsContext context = zmsim::MakeServerContext("", &error);
    BIO* texts = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(texts, SSL_CTX_get0_certificate(context.get()));
    PEM_write_bio_PrivateKey(texts, SSL_CTX_get0_privatekey(context.get()), nullptr, nullptr, 0,
                             nullptr, nullptr);
    char* text = nullptr;
    const long length = BIO_get_mem_data(texts, &text);
    std::string pair(text, static_cast<size_t>(length));
    BIO_free(texts);
    return pair;
}

std::string ErrorOf(const std::string& json) {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_FALSE(zmsim::ParseScenario(json, &scenario, &error)) << json;
    return error;
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
    const TemporaryFile password("secret\n");
    const TemporaryFile pair(CertificateAndKey());
    BackgroundProcess simulator({ZMSIM_PATH, "--scenario", scenario.Path(), "--user", "admin",
                                 "--password-file", password.Path(), "--certificate", pair.Path(),
                                 "--tls", "1.2", "--listen", "127.0.0.2"});
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
    for (const std::vector<std::string>& options :
         std::vector<std::vector<std::string>>{{"--os", "plan9"},
                                               {"--word-size", "5"},
                                               {"--user", "u"},
                                               {"--scenario", "/no/such"},
                                               {"--port", "65536"},
                                               {"--tls", "1.1"}}) {
        std::vector<std::string> command = {ZMSIM_PATH};
        command.insert(command.end(), options.begin(), options.end());
        const ProcessResult run = RunProcess(command);
        EXPECT_EQ(run.exit_status, 2) << options[0];
        EXPECT_NE(run.err, "");
    }
    EXPECT_EQ(RunProcess({ZMSIM_PATH, "--certificate", "/no/such"}).exit_status, 1);
    EXPECT_EQ(RunProcess({ZMSIM_PATH, "--listen", "host"}).exit_status, 1);
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
}

TEST(Scenario, BuiltinOnesAreWholeHosts) {
    for (const zmsim::BuiltinScenario& builtin : zmsim::kBuiltinScenarios) {
        const zmsim::Scenario scenario = BuiltinScenario(builtin.os);
        EXPECT_GE(scenario.adapters.size(), 2u) << builtin.os;
        EXPECT_FALSE(scenario.drivers.empty());
        EXPECT_EQ(scenario.capabilities.os_code, scenario.os_type);
        for (const zmsim::Adapter& adapter : scenario.adapters) {
            EXPECT_EQ(adapter.card.port_count, adapter.ports.size());
            EXPECT_GE(adapter.ports.size(), 2u);
            EXPECT_FALSE(adapter.statistics.empty());
            for (const zmsim::Port& port : adapter.ports) EXPECT_FALSE(port.statistics.empty());
        }
    }
}

TEST(ScenarioHost, AnswersInventoryRequests) {
    const zmsim::Scenario scenario = BuiltinScenario("freebsd");
    zmsim::ScenarioHost host(scenario);
    const std::string_view pci = FixedText(scenario.adapters[1].card.pci_bus_location);
    PortRequest port_request = {};
    SetFixedText(port_request.pci_bus_location, pci);
    port_request.port_instance = 1;
    const auto* raw = reinterpret_cast<const uint8_t*>(&port_request);
    const Bytes known(pci.begin(), pci.end());
    const Bytes port_known(raw, raw + sizeof(port_request));
    const Table<uint8_t, uint16_t, Bytes, uint32_t, size_t> rows = {
        {4, 136, known, 0, 2 * 1385},    {4, 136, {'x'}, 97, 0},
        {4, 138, known, 0, 6 * 39},      {4, 138, {}, 69, 0},
        {4, 141, port_known, 0, 6 * 39}, {4, 141, known, 6, 0},
        {5, 137, {}, 0, 2 * 257},        {4, 999, {}, 412, 0},
    };
    for (const auto& [service, opcode, data, status, length] : rows) {
        const zmsim::Reply reply = host.Answer(service, opcode, data);
        EXPECT_EQ(reply.status, status) << opcode;
        ASSERT_EQ(reply.data.size(), length + (length > 0)) << opcode;
        EXPECT_TRUE(length == 0 || reply.data.back() == 0xFF);
    }
}
