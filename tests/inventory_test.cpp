/// The exact listings of adapters. tests/listings has the scenario, in which every field has a
/// value of its own, and what is to be printed of it for each agent OS.
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

zmsim::Scenario Adapters() {
    zmsim::Scenario scenario;
    std::string error;
    EXPECT_TRUE(zmsim::ParseScenario(FileText("adapters.json"), &scenario, &error)) << error;
    return scenario;
}

std::string Listing(zmsim::Scenario scenario, uint8_t os_type) {
    scenario.os_type = os_type;
    zmsim::ScenarioHost host(scenario);
    TestAgent agent(host);
    TestSession session;
    EXPECT_EQ(session.Connect(agent.Port()), kSuccess);
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
    return session.Printed();
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
