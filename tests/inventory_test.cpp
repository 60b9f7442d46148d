/// The exact listings of adapters, ports, counters and drivers: scenarios in which every field has
/// a value of its own (tests/listings), and what is to be printed of it for each agent OS.
#include <cstring>
#include <nlohmann/json.hpp>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

zmsim::Scenario ScenarioFrom(const nlohmann::json& json) {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_TRUE(zmsim::ParseScenario(json.dump(), &scenario, &error)) << error;
    return scenario;
}

/// One adapter of each chip, alike but for it.
zmsim::Scenario Adapters() {
    auto json = nlohmann::json::parse(Listing("adapters.json"));
    const nlohmann::json adapter = json["adapters"][0];
    json["adapters"].clear();
    for (const char* chip : {"X3", "X4", "X5", "X6"}) {
        json["adapters"].push_back(adapter);
        json["adapters"].back()["chip_type"] = chip;
    }
    return ScenarioFrom(json);
}

/// One adapter whose ports are columns: the values of a field stand together.
zmsim::Scenario Ports() {
    auto json = nlohmann::json::parse(Listing("ports.json"));
    nlohmann::json& ports = json["adapters"][0]["ports"];
    for (const auto& [field, values] : json["port_columns"].items()) {
        for (size_t i = 0; i < values.size(); ++i) ports[i][field] = values[i];
    }
    ports[0]["statistics"] = json["adapters"][0]["statistics"];
    json.erase("port_columns");
    return ScenarioFrom(json);
}

std::string Shown(zmsim::Scenario scenario, uint8_t os_type,
                  const std::vector<const char*>& words = {"korvane", "listadapterprops"}) {
    scenario.os_type = os_type;
    zmsim::ScenarioHost host(scenario);
    const Told told = Tell(host, words);
    EXPECT_EQ(told.result, 0);
    return told.printed;
}

}  // namespace

TEST(ListAdapterProps, LinesFollowOsAndChip) {
    const Table<const char*, uint8_t> rows = {{"windows", 1}, {"linux", 2}, {"solaris", 3},
                                              {"freebsd", 4}, {"esx", 5},   {"mac", 6},
                                              {"linux", 8},   {"mac", 7},   {"mac", 200}};
    for (const auto& [name, os_type] : rows) {
        EXPECT_EQ(Shown(Adapters(), os_type), Listing(std::string("adapters_") + name + ".txt"))
            << name;
    }
    EXPECT_EQ(Shown({}, kLinux), "");
}

TEST(ListAdapterProps, TextsAreBoundedByTheirFieldsAndPrintable) {
    zmsim::Scenario scenario = Adapters();
    scenario.adapters.resize(1);
    _CardInformation& card = scenario.adapters[0].card;
    std::memset(card.driver_firmware_version, 'v', sizeof(card.driver_firmware_version));
    std::memset(card.description, 'd', sizeof(card.description));
    std::memset(card.settings.qs_tun_q_size, '9', sizeof(card.settings.qs_tun_q_size));
    SetFixedText(card.pci_bus_location, "1\nPort Count\x1b[2J");
    card.update_mode = '0';
    card.chimney_enabled = 2;
    const std::string listing = Shown(scenario, kWindows);
    ExpectListing("adapter_bounded.txt", listing);
    // Three bytes without a terminator are no chip that this client knows.
    std::memcpy(card.chip_type, "X3X", 3);
    EXPECT_EQ(Shown(scenario, kWindows).find("qsTunQSize"), std::string::npos);
}

TEST(ListPorts, LinesFollowOsNameAndEarlierPorts) {
    const Table<const char*, uint8_t> rows = {{"windows", 1}, {"linux", 2}, {"solaris", 3},
                                              {"freebsd", 4}, {"linux", 5}, {"mac", 6},
                                              {"other", 7},   {"linux", 8}};
    for (const auto& [name, os_type] : rows) {
        EXPECT_EQ(Shown(Ports(), os_type, {"korvane", "listports", "pci=0000:05:00.4"}),
                  Listing(std::string("ports_") + name + ".txt"))
            << os_type;
    }
}

TEST(ListPorts, MarksCarryOver) {
    // Per port: Tx and Rx pause, NDIS function, fixed speed and duplex.
    const Table<const char*, char, uint16_t, uint8_t> rows = {{"00", '2', 1000, 0},
                                                              {"01", '3', 10, 2},
                                                              {"12", '1', 100, 1},
                                                              {"11", '1', 101, 1},
                                                              {"11", '1', 100, 1}};
    zmsim::Scenario scenario = Ports();
    std::vector<zmsim::Port>& ports = scenario.adapters[0].ports;
    ports.clear();
    for (const auto& [pause, ndis, speed, duplex] : rows) {
        PortSettings& settings = ports.emplace_back().record.settings;
        settings.tx_pause_frames[0] = pause[0];
        settings.rx_pause_frames[0] = pause[1];
        settings.ndis_function[0] = ndis;
        settings.fixed_speed = speed;
        settings.duplex = duplex;
    }
    ExpectListing("ports_marks.txt",
                  Shown(scenario, kWindows, {"korvane", "listports", "pci=0000:05:00.4"}));
}

TEST(Counters, AreInColumnsAndOfTheCardByKind) {
    const zmsim::Scenario scenario = Ports();
    EXPECT_EQ(Shown(scenario, kLinux, {"korvane", "getcardstats", "pci=0000:05:00.4"}),
              Listing("card_counters.txt"));
    EXPECT_EQ(Shown(scenario, kLinux, {"korvane", "getportstats", "pci=0000:05:00.4", "port=0000"}),
              Listing("port_counters.txt"));
}

TEST(ListDrivers, SaysWhatIsNotAvailable) {
    EXPECT_EQ(Shown(Ports(), kLinux, {"system", "listdrivers"}), Listing("drivers.txt"));
}

TEST(GetCapabilities, PrintsALineAService) {
    zmsim::Scenario scenario = BuiltinScenario("xen");
    Capabilities& words = scenario.capabilities;
    words.network = words.iwarp = 2;
    words.teaming = words.log = 3;
    words.iscsi = words.filter = words.bypass = 0;
    words.adapter = words.traffic_management = 0x100;
    words.system = words.bonding = 1;
    words.fcoe = 0xFFFE;
    ExpectListing("capabilities.txt", Shown(scenario, kXen, {"system", "getcapabilities"}));
}
