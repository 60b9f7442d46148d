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

TEST(SetCardProperty, RefusalsHaveTheirTexts) {
    const char* no_location = "please specify PCIBuslocation for the card\n";
    const char* invalid = "Invalid value specified\n";
    const char* unknown = "One or more specified parameters are not supported\n";
    const Table<uint8_t, Keys, std::string> rows = {
        {2, {}, no_location},
        {2, {{38, "1"}}, no_location},
        {2, {{kPci, "1"}}, "Please specify atleast one property to be set\n"},
        {2, {{kPci, "1"}, {38, "-"}}, invalid},
        {2, {{kPci, "1"}, {38, "1x"}}, invalid},
        {2, {{kPci, "1"}, {38, "--1"}}, invalid},
        {2, {{kPci, "1"}, {38, ""}}, invalid},
        {2, {{kPci, "1"}, {38, nullptr}}, invalid},
        {2, {{kPci, "1"}, {38, "0x10"}}, invalid},
        {1, {{kPci, "1"}, {27, "-5"}}, invalid},
        {1, {{kPci, "1"}, {27, "123456789"}}, invalid},
        {2, {{kPci, "0123456789abcdefX"}, {38, "1"}}, invalid},
        {2, {{kPci, "1"}, {32, "9223372036854775808"}}, invalid},
        {2, {{kPci, "1"}, {27, "1"}}, unknown},
        {6, {{kPci, "1"}, {38, "1"}}, unknown},
        {1, {{kPci, "1"}, {38, "1"}}, std::string("line num 1903\n") + unknown},
        {4,
         {{kPci, "1"}, {38, "1"}},
         "One or more specified parameters are not supported or are settable\n"},
        {5, {{kPci, "1"}, {38, "1"}}, no_location},
        {7, {{kPci, "1"}, {38, "1"}}, no_location},
        {0, {{kPci, "1"}}, no_location},
    };
    for (const auto& [os_type, keys, printed] : rows) {
        const Outcome outcome = Build(kCard, os_type, keys);
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.printed, printed);
        EXPECT_TRUE(outcome.payload.empty());
    }
    EXPECT_EQ(Build(kCard, kLinux, {{kPci, "1"}, {526, "257"}}).result, 0) << "the low byte counts";
}

TEST(SetPortProperty, RefusalsHaveTheirTexts) {
    const char* no_instance = "please specify portinstance\n";
    const char* invalid = "Invalid value specified\n";
    const std::string unknown = "One or more specified parameters are not supported\n";
    const std::string traced = "line num 2686\n" + unknown;
    const Table<uint8_t, Keys, std::string> rows = {
        {2, {}, no_instance},
        {2, {{kPci, "1"}, {140, "1"}}, no_instance},
        {2, {{kInstance, "0"}, {140, "1"}}, "please specify pci bus location\n"},
        {2,
         {{kPci, "1"}, {kInstance, "0"}},
         "Please specify atleast one property to be set or you might be specifying the wrong "
         "parameters for the target platform\n"},
        {7, {{kPci, "1"}, {kInstance, "0"}, {140, "1"}}, no_instance},
        {9, {{kPci, "1"}, {kInstance, "0"}}, no_instance},
        {2, {{140, "1x"}}, invalid},
        {2, {{140, "-1"}}, invalid},
        {2, {{140, ""}}, invalid},
        {2, {{140, nullptr}}, invalid},
        {2, {{126, "2147483648"}}, invalid},
        {2, {{126, "99999999999999999999"}}, invalid},
        {2, {{140, "08"}}, invalid},
        {2, {{54, "on"}}, invalid},
        {2, {{54, "01"}}, invalid},
        {2, {{54, "0x1"}}, invalid},
        {1, {{61, "128"}}, invalid},
        {1, {{68, "100000001"}}, invalid},
        {1, {{258, "54321"}}, invalid},
        {2, {{kPci, "0123456789abcdefX"}}, invalid},
        {1, {{440, "jumbo"}}, invalid},
        {2, {{kInstance, "one"}}, invalid},
        {2, {{139, "0"}}, "Invalid resetautoneg value\n"},
        {2, {{440, "9014"}}, traced},
        {1, {{150, "9000"}}, unknown},
        {1, {{151, "1"}}, unknown},
        {1, {{131, "nonsense"}}, unknown},
        {4,
         {{2, "nonsense"}},
         "One or more specified parameters are not supported or are not settable\n"},
        {2, {{2, "1000"}}, invalid},
        {2, {{2, "10x-Full"}}, "Invalid speed value\n"},
        {2, {{2, "65536-Full"}}, "Invalid speed value\n"},
        {2, {{2, "1000-"}}, "Invalid speedduplex value\n"},
        {2, {{2, "1000-FULL"}}, "Invalid duplex value\n"},
        {2, {{2, "1000-Full "}}, "Invalid duplex value\n"},
        {2, {{131, ""}}, "Invalid Advertise value\n"},
        {2, {{131, "auto|"}}, "Invalid Advertise value\n"},
        {2, {{131, "|auto"}}, "Invalid Advertise value\n"},
        {2, {{131, "auto||auto"}}, "Invalid Advertise value\n"},
        {2, {{131, "10000baset/half"}}, "Invalid Advertise value\n"},
    };
    for (const auto& [os_type, keys, printed] : rows) {
        const Outcome outcome = Build(kPort, os_type, keys);
        EXPECT_EQ(outcome.result, 1) << printed;
        EXPECT_EQ(outcome.printed, printed);
        EXPECT_TRUE(outcome.payload.empty());
    }
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
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
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
    const Table<const char*, std::vector<const char*>, const char*, const char*> rows = {
        {"linux",
         {"setcardproperty", "pci=0000:05:00.4", "mss=1460"},
         "",
         "mss                           : 1460\n"},
        {"mac",
         {"setportproperty", "port=0", "tso=0"},
         "@",
         "TCP Segmentation offload   : Disabled\n"},
        {"windows",
         {"setcardproperty", "pci=5:0:4", "maxvmqueues=17"},
         "",
         "MaxVMQueues\t\t      : 17\n"},
        {"windows",
         {"setcardproperty", "pci=3:0:0", "jumboqsize=17"},
         "",
         "qsflJumboQSize                : 17\n"},
        {"windows",
         {"setportproperty", "port=0", "jumbopacket=9014"},
         "5:0:4",
         "JumboPacket                : 9014\n"},
        {"windows",
         {"setportproperty", "port=1", "ndisfunc=2"},
         "3:0:0",
         "NDIS function              : Offload mode\n"},
        {"linux",
         {"setportproperty", "port=1", "advertise=auto", "speedduplex=100-half"},
         "0000:03:00.0",
         "100 Mb/s\nPort Duplex                : Half\n"},
        {"solaris",
         {"setportproperty", "port=0", "holdoff_pktc_idx=0", "rx_pause=0", "mtu=9000"},
         "pci/5,0,4",
         "rx_pause\t\t\t:0\n"},
        {"solaris",
         {"setportproperty", "port=0", "lso=0", "accept-jumbo=1"},
         "pci/3,0",
         "accept-jumbo\t\t\t:1\n"},
        {"freebsd", {"setportproperty", "port=0", "qsize_txq=77"}, "@", "qsize_txq\t\t   : 77\n"},
        {"xen",
         {"setportproperty", "port=0", "ringtx=99"},
         "@",
         "Ring_tx                    : 99\n"},
        {"windows",
         {"setportproperty", "port=0", "rss=0"},
         "5:0:4",
         "Receive Side Scaling(RSS)  : Disabled\n"},
        {"windows",
         {"setportproperty", "port=0", "vlanid=77"},
         "5:0:4",
         "VLAN ID                    : 77\n"},
        {"esx",
         {"setportproperty", "port=0", "gso=0"},
         "@",
         "Generic Segmentation offload         : Disabled\n"},
    };
    for (const auto& [os, words, place, line] : rows) {
        const zmsim::Scenario scenario = BuiltinScenario(os);
        zmsim::ScenarioHost host(scenario);
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        const std::string last(FixedText(scenario.adapters.back().card.pci_bus_location));
        const std::string pci = "pci=" + (place == std::string("@") ? last : place);
        const bool port = place[0] != '\0';
        std::vector<const char*> list = {"korvane", "listadapterprops"};
        if (port) list = {"korvane", "listports", pci.c_str()};
        std::vector<const char*> set = {"korvane"};
        set.insert(set.end(), words.begin(), words.end());
        if (port) set.push_back(pci.c_str());

        EXPECT_EQ(session.Run(list), 0);
        EXPECT_EQ(session.Printed().find(line), std::string::npos) << os << line;
        EXPECT_EQ(session.Run(set), 0);
        EXPECT_EQ(session.Printed(), "Command completed successfully.\n");
        EXPECT_EQ(session.Run(list), 0);
        EXPECT_NE(session.Printed().find(line), std::string::npos) << os << line;

        EXPECT_EQ(session.Run({"korvane", "setportproperty", "pci=nowhere", "port=0", "tso=1"}),
                  os == std::string("windows") ? 1 : 0);
        EXPECT_NE(session.Printed(), "Command completed successfully.\n");
    }
}
