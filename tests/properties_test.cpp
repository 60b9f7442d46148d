/// Setting properties: every key of every agent OS with the bytes it becomes. The two tables of
/// keys were written down apart from the tables of the code.
#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

using Builder = int (ZwMgmt_interface::*)(Client_Request_Message*, _Message*);
constexpr Builder kCard = &ZwMgmt_interface::CLSetKorvaneCardProp;
constexpr Builder kPort = &ZwMgmt_interface::CLSetKorvanePortProp;

constexpr int kPci = 25;
constexpr int kInstance = 72;

using Keys = std::vector<std::pair<int, const char*>>;

struct Outcome {
    int result;
    Bytes payload;
    std::string printed;
};

Outcome Build(Builder builder, uint8_t os_type, const Keys& keys) {
    std::vector<Client_Request_Argument> arguments = {{"", -1}};
    for (const auto& [key, value] : keys) arguments.push_back({value, key});
    Client_Request_Message request = {kKorvane, 0, 0, arguments.data(),
                                      static_cast<uint32_t>(arguments.size())};
    _Message message = {};
    TestSession& session = SessionOf(os_type);
    Outcome outcome;
    outcome.result = (session.*builder)(&request, &message);
    const auto* data = static_cast<const uint8_t*>(message.data);
    if (data != nullptr) outcome.payload.assign(data, data + message.data_length);
    std::free(message.data);
    outcome.printed = session.Printed();
    return outcome;
}

/// The OS types that share a table; a row names one of them.
using Groups = std::vector<std::vector<int>>;
const Groups kCardGroups = {{1}, {2, 3, 8}, {4}, {6}};
const Groups kPortGroups = {{1}, {2, 3, 5, 6, 8}, {4}};

const std::vector<int>& GroupOf(const Groups& groups, int os_type) {
    return *std::ranges::find_if(groups, [&](const auto& group) {
        return std::ranges::find(group, os_type) != group.end();
    });
}

void ExpectPayloads(Builder builder, const std::string& cases, const Groups& groups,
                    const Keys& address, const Bytes& expected) {
    std::map<int, std::set<int>> known;
    for (const auto& row : Cases(cases)) {
        const auto head = Words(row[0]);
        const int key = Number(head[1]);
        const auto mask = static_cast<uint32_t>(std::stoul(head[3], nullptr, 0));
        for (const std::string& word : Words(row[1])) {
            const std::string value = word.substr(0, word.find('='));
            const std::string bytes = Unhex(word.substr(value.size() + 1));
            Keys keys = address;
            keys.insert(keys.begin(), {key, value.c_str()});
            for (const int os_type : GroupOf(groups, Number(head[0]))) {
                known[os_type].insert(key);
                const Outcome outcome = Build(builder, static_cast<uint8_t>(os_type), keys);
                EXPECT_EQ(outcome.result, 0) << os_type << ' ' << key << outcome.printed;
                Bytes payload = expected;
                payload[0] = static_cast<uint8_t>(os_type);
                std::memcpy(payload.data() + 1, &mask, sizeof(mask));
                std::memcpy(payload.data() + Number(head[2]), bytes.data(), bytes.size());
                EXPECT_EQ(outcome.payload, payload) << os_type << ' ' << row[0] << ' ' << word;
            }
        }
    }
    for (const auto& [os_type, keys] : known) {
        for (int key = 0; key < 600; ++key) {
            if (key == kPci || (builder == kPort && key == kInstance)) continue;
            const Outcome outcome = Build(builder, static_cast<uint8_t>(os_type), {{key, "1"}});
            const bool unknown = outcome.printed.find("are not supported") != std::string::npos;
            EXPECT_EQ(unknown, !keys.contains(key)) << os_type << ' ' << key;
        }
    }
}

}  // namespace

TEST(SetCardProperty, EveryKeyBecomesItsBytes) {
    Bytes expected(231);
    std::memcpy(expected.data() + 5, "0123456789abcdef", 16);
    ExpectPayloads(kCard, "card_properties", kCardGroups, {{kPci, "0123456789abcdef"}}, expected);
}

TEST(SetPortProperty, EveryKeyBecomesItsBytes) {
    Bytes expected(240);
    std::memcpy(expected.data() + 9, "0000:05:00.4", 12);
    expected[25] = 0x11;
    ExpectPayloads(kPort, "port_properties", kPortGroups,
                   {{kPci, "0000:05:00.4"}, {kInstance, "0x11"}}, expected);
}

TEST(SetPortProperty, SeveralKeysShareOneRequest) {
    const Outcome outcome =
        Build(kPort, kLinux, {{kPci, "1"}, {150, "9000"}, {140, "1"}, {150, "0x5dc"}, {72, "1"}});
    ASSERT_EQ(outcome.payload.size(), 240u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&outcome.payload[29]), 8),
              std::string("1500\0\0\0\0", 8));
    EXPECT_EQ(outcome.payload[145], 1);
    EXPECT_EQ(outcome.payload[1], 4);
    EXPECT_EQ(outcome.payload[2], 4);
}

TEST(SetProperty, RefusalsHaveTheirTexts) {
    for (const auto& row : Cases("property_refusals")) {
        const auto head = Words(row[0]), words = Words(row[1]);
        Keys keys;
        for (const std::string& word : words) {
            const size_t sign = word.find('=');
            keys.emplace_back(Number(word), sign == word.npos ? nullptr : word.c_str() + sign + 1);
        }
        const auto os_type = static_cast<uint8_t>(Number(head[1]));
        const Outcome outcome = Build(head[0] == "c" ? kCard : kPort, os_type, keys);
        EXPECT_EQ(outcome.result, 1) << row[0] << row[1];
        EXPECT_EQ(outcome.printed, row[2]) << row[0] << row[1];
        EXPECT_TRUE(outcome.payload.empty());
    }
    EXPECT_EQ(Build(kCard, kLinux, {{kPci, "1"}, {526, "257"}}).result, 0) << "the low byte counts";
    EXPECT_EQ(Build(kPort, kFreeBsd, {{kPci, "1"}, {kInstance, "0"}, {332, "6"}}).result, 0);
}

TEST(SetProperty, WhatTheAgentLacksIsAFailure) {
    // Bits are shared: these keys set one that agents of this OS read otherwise.
    const Table<const char*, const char*, const char*> rows = {
        {"linux", "0000:03:00.0", "rx_pause=1"},
        {"linux", "0000:03:00.0", "holdoff_tmr_idx=3"},
        {"xen", "0000:03:00.0", "accept-jumbo=1"},
        {"solaris", "pci/3,0", "tso=1"},
        {"windows", "3:0:0", "lsoipv4=1"}};
    for (const auto& [os, location, setting] : rows) {
        zmsim::ScenarioHost host(BuiltinScenario(os));
        Linked session(host);
        const std::string pci = std::string("pci=") + location;
        const std::vector<const char*> list = {"korvane", "listports", pci.c_str()};
        EXPECT_EQ(session.Run(list), 0);
        const std::string before = session.Printed();
        EXPECT_EQ(session.Run({"korvane", "setportproperty", pci.c_str(), "port=0", setting}), 0);
        EXPECT_EQ(session.Printed(), "Command Failed\n") << os << setting;
        EXPECT_EQ(session.Run(list), 0);
        EXPECT_EQ(session.Printed(), before);
    }
}

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
        const auto parts = Words("korvane " + words);
        auto set = Pointers(parts);
        if (port) set.push_back(pci.c_str());

        EXPECT_EQ(session.Run(list), 0);
        EXPECT_EQ(session.Printed().find(line), std::string::npos) << os << line;
        EXPECT_EQ(session.Run(set), 0);
        EXPECT_EQ(session.Printed(), "Command completed successfully.\n");
        EXPECT_EQ(session.Run(list), 0);
        EXPECT_NE(session.Printed().find(line), std::string::npos) << os << line;

        EXPECT_EQ(session.Run({"korvane", "setportproperty", "pci=nowhere", "port=0", "tso=1"}),
                  os == "windows" ? 1 : 0);
        EXPECT_NE(session.Printed(), "Command completed successfully.\n");
    }
}
