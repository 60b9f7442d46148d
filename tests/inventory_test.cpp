/// The exact listings of adapters, ports, counters and drivers. tests/listings has the scenarios,
/// in which every field has a value of its own, and what is to be printed of it for each agent OS;
/// the listings of ports.json were written down apart from the code that prints them.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

std::string FileText(const std::string& name) {
    std::ifstream file(TEST_LISTINGS "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

zmsim::Scenario ScenarioFrom(const std::string& name) {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_TRUE(zmsim::ParseScenario(FileText(name), &scenario, &error)) << error;
    return scenario;
}

zmsim::Scenario Adapters() { return ScenarioFrom("adapters.json"); }

/// What is printed for a command by a session with this host.
std::string Printed(zmsim::HostModel& host, const std::vector<const char*>& words, int result = 0) {
    TestAgent agent(host);
    TestSession session;
    EXPECT_EQ(session.Connect(agent.Port()), kSuccess);
    EXPECT_EQ(session.Run(words), result);
    return session.Printed();
}

std::string Listing(zmsim::Scenario scenario, uint8_t os_type,
                    const std::vector<const char*>& words = {"korvane", "listadapterprops"}) {
    scenario.os_type = os_type;
    zmsim::ScenarioHost host(scenario);
    return Printed(host, words);
}

}  // namespace

TEST(ListAdapterProps, LinesFollowOsAndChip) {
    const Table<const char*, uint8_t> rows = {{"windows", 1}, {"linux", 2}, {"solaris", 3},
                                              {"freebsd", 4}, {"esx", 5},   {"mac", 6},
                                              {"xen", 8},     {"mac", 7},   {"mac", 200}};
    for (const auto& [name, os_type] : rows) {
        EXPECT_EQ(Listing(Adapters(), os_type), FileText(name + std::string(".txt"))) << name;
    }
    EXPECT_EQ(Listing({}, kLinux), "");
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
    const std::string listing = Listing(scenario, kWindows);
    for (const std::string& line :
         {"Driver Firmware Version       : " + std::string(25, 'v') + "\n",
          "Description                   : " + std::string(96, 'd') + "\n",
          "qsTunQSize                    : " + std::string(8, '9') + "\n\n",
          std::string("PCI Bus Location              : 1?Port Count?[2J\n"),
          std::string("Adapter Update Mode           : Disabled\n"),
          std::string("Chimney Enabled               : YES\n")}) {
        EXPECT_NE(listing.find(line), std::string::npos) << line;
    }
    // Three bytes without a terminator are no chip that this client knows.
    std::memcpy(card.chip_type, "X3X", 3);
    EXPECT_EQ(Listing(scenario, kWindows).find("qsTunQSize"), std::string::npos);
}

TEST(ListPorts, LinesFollowOsNameAndEarlierPorts) {
    const Table<const char*, uint8_t> rows = {{"windows", 1}, {"linux", 2}, {"solaris", 3},
                                              {"freebsd", 4}, {"linux", 5}, {"mac", 6},
                                              {"other", 7},   {"linux", 8}};
    for (const auto& [name, os_type] : rows) {
        const std::string file = std::string("ports_") + name + ".txt";
        EXPECT_EQ(Listing(ScenarioFrom("ports.json"), os_type,
                          {"korvane", "listports", "pci=0000:05:00.4"}),
                  FileText(file))
            << os_type;
    }
}

TEST(ListPorts, MarksCarryOver) {
    // Per port: Tx and Rx pause, NDIS function, fixed speed and duplex; whether it prints in X4
    // style, its NDIS line and its duplex line.
    // clang-format off
    const Table<const char*, const char*, uint16_t, uint8_t, bool, const char*, const char*> rows = {
        {"00", "2", 1000, 0, false, "NDIS function              : Offload mode\n", "Port Duplex                : Half\n"},
        {"01", "3", 10, 2, false, "", "Port Duplex                : Unknown\n"},
        {"12", "1", 100, 1, true, "", "Port Duplex                : Full\n"},
        {"11", "1", 101, 1, true, "", ""}, {"11", "1", 100, 1, true, "", ""},
    };
    // clang-format on
    zmsim::Scenario scenario = ScenarioFrom("ports.json");
    std::vector<zmsim::Port>& ports = scenario.adapters[0].ports;
    ports.clear();
    for (const auto& [pause, ndis, speed, duplex, x4, ndis_line, duplex_line] : rows) {
        PortSettings& settings = ports.emplace_back().record.settings;
        settings.tx_pause_frames[0] = pause[0];
        settings.rx_pause_frames[0] = pause[1];
        settings.ndis_function[0] = ndis[0];
        settings.fixed_speed = speed;
        settings.duplex = duplex;
    }
    std::string listing = Listing(scenario, kWindows, {"korvane", "listports", "pci=0000:05:00.4"});
    const auto has = [](const std::string& text, const char* line) {
        return text.find(line) != text.npos;
    };
    for (const auto& [pause, ndis, speed, duplex, x4, ndis_line, duplex_line] : rows) {
        const std::string one = listing.substr(0, listing.find("\n\n\n"));
        listing.erase(0, one.size() + 3);
        EXPECT_EQ(has(one, "JumboPacket"), x4) << one;
        EXPECT_TRUE(has(one, ndis_line)) << one;
        EXPECT_EQ(has(one, "NDIS"), ndis_line[0] != '\0') << one;
        EXPECT_TRUE(has(one, duplex_line)) << one;
        EXPECT_EQ(has(one, "Duplex"), duplex_line[0] != '\0') << one;
    }
}

TEST(Counters, AreInColumnsAndOfTheCardByKind) {
    const zmsim::Scenario scenario = ScenarioFrom("ports.json");
    EXPECT_EQ(Listing(scenario, kLinux, {"korvane", "getcardstats", "pci=0000:05:00.4"}),
              FileText("card_counters.txt"));
    EXPECT_EQ(
        Listing(scenario, kLinux, {"korvane", "getportstats", "pci=0000:05:00.4", "port=0000"}),
        FileText("port_counters.txt"));
}

TEST(ListDrivers, SaysWhatIsNotAvailable) {
    EXPECT_EQ(Listing(ScenarioFrom("ports.json"), kLinux, {"system", "listdrivers"}),
              FileText("drivers.txt"));
}

TEST(ListCards, NamesAreBoundedAndPrintable) {
    const std::string x3 = "\nX3 Interface names:\n------------------------\n";
    const std::string x4 = "\nCard PCI Bus Locations\n--------------------------------\n";
    const Table<const char*, std::string, std::string> rows = {
        {"listx3adapters", "eth2\neth3", x3 + "eth2\neth3\n"},
        {"listx3adapters", std::string("eth\x1b[2J\n\0eth9\n", 13), x3 + "eth?[2J\n"},
        {"listx3adapters", "", "Error: No X3 Korvane Cards\n"},
        {"listadapters", std::string(200, 'x'), x4 + std::string(63, 'x') + "\n"},
        {"listadapters", "0:5:0\n", x4 + "0:5:0\n"},
        {"listadapters", std::string(1, '\0'), "Error: No X4/X5 Korvane Cards\n"},
    };
    for (const auto& [command, names, printed] : rows) {
        CannedHost host(zmsim::Reply{.status = 0, .data = {names.begin(), names.end()}});
        EXPECT_EQ(Printed(host, {"filter", command}), printed);
    }
}

TEST(Inventory, FailuresHaveTheirTexts) {
    const std::string failed = "Command failed\n";
    const std::string unplumbed =
        "\nERROR: No ports are available for given PCI location on Solaris ZM agent host\n\n"
        "NOTE:For a given X4 PCI location,\"korvane listports\" command may fail\n"
        "if all X4 ports are unplumbed in SOLARIS ZM agent host. You should plumb\n"
        "atleast one X4 port on solaris ZM agent host for the command success\n\n";
    // clang-format off
    const Table<std::vector<const char*>, uint8_t, uint32_t, std::string> rows = {
        {{"korvane", "listports", "pci=1"}, 3, 72, unplumbed + failed},
        {{"korvane", "listports", "pci=1"}, 3, 97, "ERROR: No ports to list at given PCI location...!\n\n" + failed},
        {{"korvane", "listports", "pci=1"}, 3, 5, failed}, {{"korvane", "listports", "pci=1"}, 2, 72, failed},
        {{"korvane", "listports", "pci=1"}, 8, 97, failed},
        {{"korvane", "getcardstats", "pci=1"}, 2, 69, "No stats found/available for this card\n"},
        {{"korvane", "getcardstats", "pci=1"}, 2, 1, failed},
        {{"korvane", "getportstats", "pci=1", "port=1"}, 2, 69, "No stats found/available for this card\n"},
        {{"korvane", "getportstats", "pci=1", "port=1"}, 2, 97, failed},
        {{"system", "listdrivers"}, 2, 9, failed}, {{"filter", "listx3adapters"}, 2, 9, failed},
        {{"filter", "listadapters"}, 2, 9, failed}, {{"system", "getcapabilities"}, 2, 9, failed},
        {{"system", "getinstallresult"}, 2, 9, "Command Failed\n"},
    };
    // clang-format on
    for (const auto& [words, os_type, status, printed] : rows) {
        CannedHost host([status](auto...) { return zmsim::Reply{.status = status, .data = {}}; },
                        os_type);
        EXPECT_EQ(Printed(host, words), printed) << words[1] << status;
    }
}

TEST(Inventory, WhatIsRefusedIsNotSent) {
    const char* no_location = "please specify pci bus location\n";
    const char* invalid = "Invalid argument specified\n";
    // clang-format off
    const Table<std::vector<const char*>, int, const char*> rows = {
        {{"korvane", "listports"}, 1, no_location}, {{"korvane", "getcardstats"}, 1, no_location},
        {{"korvane", "listports", "port=1"}, 1, invalid}, {{"korvane", "getcardstats", "pci=1", "pci=2"}, 1, invalid},
        {{"korvane", "getportstats", "pci=1"}, 1, "please specify portinstance\n"},
        {{"korvane", "getportstats"}, 1, "please specify portinstance\n"},
        {{"korvane", "getportstats", "port=1"}, 1, no_location},
        {{"korvane", "getportstats", "pci=1", "port=1a"}, 1, "Invalid Port Instance\n"},
        {{"korvane", "getportstats", "pci=1", "port=-1"}, 1, "Invalid Port Instance\n"},
        {{"korvane", "getportstats", "pci=1", "port=2147483648"}, 6, "\nInvalid value specified\n"},
        {{"korvane", "getportstats", "pci=1", "mtu=1"}, 1, invalid},
    };
    // clang-format on
    for (const auto& [words, result, printed] : rows) {
        CannedHost host([](auto...) -> zmsim::Reply {
            ADD_FAILURE() << "sent";
            return {};
        });
        EXPECT_EQ(Printed(host, words, result), printed);
    }
}

TEST(Inventory, RequestsCarryLocationAndInstance) {
    Bytes sent;
    CannedHost host([&](uint8_t, uint16_t, auto data) {
        sent.assign(data.begin(), data.end());
        return zmsim::Reply{};
    });
    Printed(host, {"korvane", "listports", "pci=0000:05:00.4"});
    EXPECT_EQ(sent, Bytes({'0', '0', '0', '0', ':', '0', '5', ':', '0', '0', '.', '4'}));
    Printed(host, {"korvane", "getportstats", "port=66051", "pci=0123456789abcdefXYZ"});
    Bytes expected(240);
    std::memcpy(expected.data() + 9, "0123456789abcdef", 16);
    std::memcpy(expected.data() + 25, "\x03\x02\x01", 3);
    EXPECT_EQ(sent, expected);
}

TEST(GetCapabilities, PrintsALineAService) {
    zmsim::Scenario scenario = BuiltinScenario("xen");
    scenario.capabilities.filter = 0;
    scenario.capabilities.log = 3;
    scenario.capabilities.bonding = 1;
    const std::string printed = Listing(scenario, kXen, {"system", "getcapabilities"});
    for (const char* line :
         {"API Version                : 2.0\n", "Agent OS                   : Xen\n",
          "Filter                     : not available\n", "Log                        : too old\n",
          "Bypass                     : available\n",
          "Bonding                    : not available\n"}) {
        EXPECT_NE(printed.find(line), std::string::npos) << printed;
    }
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 14);
}
