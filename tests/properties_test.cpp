/// Properties that are set at the simulated agent, and what it lists afterwards.
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

TEST(SetProperty, WhatIsSetIsListed) {
    for (const auto& row : Cases("settings_listed")) {
        const auto& [os, words, place, line] = std::tie(row[0], row[1], row[2], row[3]);
        const zmsim::Scenario scenario = BuiltinScenario(os);
        zmsim::ScenarioHost host(scenario);
        Linked session(host);
        const std::string last(FixedText(scenario.adapters.back().card.pci_bus_location));
        const std::string pci = "pci=" + (place == "@" ? last : place);
        const bool port = !place.empty();
        std::vector<const char*> list = {"korvane", "listadapterprops"};
        if (port) list = {"korvane", "listports", pci.c_str()};
        const auto parts = Words(words);
        auto set = Pointers(parts);
        if (port && parts[0] == "korvane") set.push_back(pci.c_str());

        EXPECT_EQ(session.Run(list), 0);
        EXPECT_EQ(session.Printed().find(line), std::string::npos) << os << line;
        EXPECT_EQ(session.Run(set), 0);
        EXPECT_NE(session.Printed().find("uccessful"), std::string::npos);
        EXPECT_EQ(session.Run(list), 0);
        EXPECT_NE(session.Printed().find(line), std::string::npos) << os << line;

        EXPECT_EQ(session.Run({"korvane", "setportproperty", "pci=nowhere", "port=0", "tso=1"}),
                  os == "windows" ? 1 : 0);
        EXPECT_NE(session.Printed(), "Command completed successfully.\n");
    }
}
