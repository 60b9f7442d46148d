/// Replies as values, and what programs get of them when agents are hostile or gone.
#include <cstring>
#include <nlohmann/json.hpp>

#include "output/render.h"
#include "tests/support.h"
#include "zwmgmt/result.h"

using namespace testing_support;
using namespace zwmgmt;
using nlohmann::json;

namespace {

/// The wire form of drivers, with what follows behind the last.
Bytes Drivers(const std::vector<std::string>& descriptions, const Bytes& rest = {}) {
    Bytes run;
    for (const std::string& description : descriptions) {
        DriverInfo driver = {};
        std::memset(driver.name, 'n', sizeof(driver.name));  // without terminator
        SetFixedText(driver.description, description);
        driver.loaded = 1;
        const auto* bytes = reinterpret_cast<const uint8_t*>(&driver);
        run.insert(run.end(), bytes, bytes + offsetof(DriverInfo, next));
    }
    run.insert(run.end(), rest.begin(), rest.end());
    return run;
}

agent::Reply ReplyOf(Bytes data) { return {.status = kSuccess, .data = std::move(data)}; }

std::string Rendered(const agent::Reply& reply, ResultFormat format) {
    CannedHost host(reply);
    Linked session(host);
    const char* words[] = {"system", "listdrivers"};
    CommandWords command(words, 2);
    Result result(session, command.Request(), session.result.data());
    std::string text;
    EXPECT_TRUE(result.Render(format, &text));
    EXPECT_EQ(session.Printed(), "");
    return text;
}

}  // namespace

TEST(Formats, HostileTextsStayTextsInEveryFormat) {
    const std::string name(32, 'n');
    const Table<std::string, std::string, std::string> rows = {
        {"a\"b\\c", R"(a\"b\\c)", R"("a""b\c")"},
        {"x\n\t\x1b[2J\x7f", R"(x\n\t\u001b[2J\u007f)",
         "x??"
         "?[2J?"},
        {"\xC2\x9B|\x9B|\xE2\x82", "\\u009b|\\ufffd|\\ufffd\\ufffd",
         "?|\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"caf\xC3\xA9, \xF0\x9F\x98\x80", "caf\xC3\xA9, \xF0\x9F\x98\x80",
         "\"caf\xC3\xA9, \xF0\x9F\x98\x80\""},
        {std::string(128, 'd'), std::string(128, 'd'), std::string(128, 'd')},
    };
    for (const auto& [bytes, in_json, in_csv] : rows) {
        const agent::Reply reply = ReplyOf(Drivers({bytes}));
        EXPECT_EQ(
            Rendered(reply, ResultFormat::kJsonLine),
            R"([{"name":")" + name + R"(","description":")" + in_json + "\",\"loaded\":true}]\n");
        EXPECT_EQ(Rendered(reply, ResultFormat::kCsv),
                  "name,description,version,date,loaded\r\n" + name + "," + in_csv + ",,,true\r\n");
    }
}

TEST(Formats, TablesFitTheirWidth) {
    const Bytes run = Drivers({std::string(100, 'd'), "short"}, {0xFF});
    const Description& drivers = *FindDescription(kListDrivers);
    void* head = nullptr;
    ASSERT_EQ(
        ZwMgmt_interface::CLBuildList(&head, run.data(), offsetof(DriverInfo, next),
                                      sizeof(DriverInfo), 1, 8, static_cast<uint32_t>(run.size())),
        0);
    for (const size_t width : {size_t{44}, size_t{60}, size_t{0}}) {
        Records records(drivers, kLinux, head, 0);
        std::string table;
        TextSink sink(&table);
        WriteTable(sink, drivers, records, FieldsOf(drivers, kLinux, true), {width, true});
        EXPECT_TRUE(table.starts_with("\x1b[1mNAME")) << table;
        const std::string line = table.substr(table.find('\n') + 1);
        EXPECT_EQ(line.find('\n'), width != 0 ? width : 32 + 4 * 2 + 7 + 4 + 6 + 100) << table;
        EXPECT_EQ(line.find('~') != line.npos, width != 0);
    }
    ZwMgmt_interface::CLFreeMem(kListDrivers, head);
}

TEST(Formats, FieldsCanBeWalkedAndChosen) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    Linked session(host);
    const char* words[] = {"korvane", "listadapterprops"};
    CommandWords command(words, 2);
    Result result(session, command.Request(), session.result.data());
    ASSERT_EQ(result.RecordCount(), 3u);
    EXPECT_TRUE(result.IsList());
    EXPECT_EQ(result.ValueOf(1, "pci_bus_location").text, "0000:05:00.4");
    EXPECT_EQ(result.ValueOf(0, "vendor_id").number, 0x4b56u);
    EXPECT_EQ(result.ValueOf(0, "max_conn").integer, -1);
    EXPECT_EQ(result.ValueOf(0, "chimney_enabled").type, ValueType::kAbsent) << "of Windows alone";
    EXPECT_EQ(result.ValueOf(3, "vendor_id").type, ValueType::kAbsent) << "behind the last";
    std::string error;
    EXPECT_FALSE(result.Select("port_count,vendorid", &error));
    EXPECT_EQ(error, "unknown field \"vendorid\"; nearest: vendor_id");
    EXPECT_FALSE(result.Select("", &error));
    EXPECT_TRUE(result.Select("port_count,description,mss", &error));
    EXPECT_EQ(result.FieldCount(), 3u);
    EXPECT_STREQ(result.FieldAt(2).unit, "bytes");
    std::string csv;
    EXPECT_TRUE(result.Render(ResultFormat::kCsv, &csv));
    EXPECT_EQ(csv, "port_count,description,mss\r\n2,,16384\r\n4,,16384\r\n2,,16384\r\n");
    std::string table;
    EXPECT_TRUE(result.Render(ResultFormat::kTable, &table));
    EXPECT_EQ(table,
              "PORT_COUNT  DESCRIPTION  MSS\n2           -            16384\n"
              "4           -            16384\n2           -            16384\n");
}

TEST(Formats, WhatIsNoNumberNorWordStaysWhatItIs) {
    zmsim::Scenario scenario = BuiltinScenario("windows");
    PortSettings& settings = scenario.adapters[0].ports[0].record.settings;
    SetFixedText(settings.mtu, "9k");
    SetFixedText(settings.performance_mode, "2");
    SetFixedText(settings.tcp_offload, "x");
    settings.duplex = 2;
    SimulatedAgent agent(scenario);
    const ProcessResult run = Zwcli(agent.Port(), {"--format", "csv", "--fields",
                                                   "mtu,performance_mode,tcp_offload,duplex,queues",
                                                   "korvane", "listports", "pci=3:0:0"});
    EXPECT_EQ(run.out.substr(0, run.out.find("\r\n", 50)),
              "mtu,performance_mode,tcp_offload,duplex,queues\r\n9k,2,,2,8");
}

TEST(Formats, EveryOutcomeIsAnAnswer) {
    SimulatedAgent agent("linux"), windows("windows"), gone("linux");
    gone.Stop();
    const uint16_t port = agent.Port();
    const Table<uint16_t, std::string, int, uint32_t, std::string> rows = {
        {port, "json korvane setportproperty pci=0000:03:00.0 port=0 mtu=9000", 0, 0,
         "Command completed successfully."},
        {port, "json korvane listports pci=none", 1, kNoPorts, "Command failed"},
        {port, "json net ping getresult", 1, kNotStarted,
         "The data available is not for this command. Please initiate the ping command and then "
         "retry"},
        {windows.Port(), "jsonl filter listx3", 5, kIncompatible,
         "Error: Filter service is not available on Server"},
        {gone.Port(), "json system listdrivers", 3, kConnectFailed, "cannot open a session"},
        {gone.Port(), "json korvane getportstats pci=1 port=x", 2, 1, "Invalid Port Instance"},
    };
    for (const auto& [at, words, exit_status, status, message] : rows) {
        const ProcessResult run = Zwcli(at, Words("--format " + words));
        const json answer = json::parse(run.out);
        EXPECT_EQ(run.exit_status, exit_status) << words;
        EXPECT_EQ(answer["exit_status"], exit_status);
        EXPECT_EQ(answer.value("status", 0u), status) << words;
        EXPECT_TRUE(std::string(answer["message"]).starts_with(message)) << run.out;
        EXPECT_EQ(answer.contains("agent_os"), at != gone.Port());
        EXPECT_TRUE(answer["result"].is_null());
    }
    EXPECT_EQ(Zwcli(port, Words("--format json net vlan")).exit_status, 2);
}
