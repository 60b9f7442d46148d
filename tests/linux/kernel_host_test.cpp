/// The host model of Linux, asked by the real front end, against what ip and ethtool say.
#include <cctype>
#include <map>
#include <set>
#include <sstream>

#include "adapters/properties.h"
#include "linux_agent/properties.h"
#include "tests/linux/kernel_agent.h"

using namespace testing_support;

namespace {

class KernelHost : public testing::Test {
  protected:
    void SetUp() override {
        if (!LeaveNetwork()) GTEST_SKIP() << "needs root and a network namespace of its own";
        for (const char* command : kNetwork) ASSERT_EQ(RunTool(command).exit_status, 0) << command;
        agent = std::make_unique<KernelAgent>(
            zmagent::KernelOptions{.virtual_interfaces = true, .drivers = {"no-such-module"}});
    }

    std::unique_ptr<KernelAgent> agent;
};

/// The "key: value" lines below a heading, with the lines that go on.
std::map<std::string, std::string> Lines(const std::string& text, const std::string& heading = "") {
    std::map<std::string, std::string> lines;
    std::istringstream stream(text.substr(std::min(text.find(heading), text.size())));
    std::string key;
    for (std::string line; std::getline(stream, line);) {
        const size_t colon = line.find(':');
        const size_t begin = line.find_first_not_of(" \t");
        if (begin == line.npos) continue;
        if (colon != line.npos) key = line.substr(begin, colon - begin);
        if (colon != line.npos && lines.contains(key)) break;  // of the next heading
        const size_t value = line.find_first_not_of(" \t", colon == line.npos ? 0 : colon + 1);
        if (value == line.npos) continue;
        if (!lines[key].empty()) lines[key] += ' ';
        lines[key] += line.substr(value);
    }
    return lines;
}

/// Both sides' words for one thing, alike.
std::string Plain(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(c));
    text.erase(0, text.find_first_not_of("[ "));
    text.resize(std::min(text.find(" ["), text.size()));
    text.erase(text.find_last_not_of("] ") + 1);
    if (text.starts_with("unknown!")) return "";
    if (text.ends_with("mb/s")) text.resize(text.size() - 4);
    if (text.starts_with("0x")) return Plain(std::to_string(std::stoul(text, nullptr, 16)));
    static const std::map<std::string, std::string> kSame = {
        {"yes", "true"},  {"on", "true"},     {"auto", "true"}, {"no", "false"},
        {"off", "false"}, {"fixed", "false"}, {"none", ""},     {"not reported", ""},
        {"disabled", ""}, {"d", ""},          {"n/a", ""},      {"0", ""},
    };
    const auto same = kSame.find(text);
    return same != kSame.end() ? same->second : text;
}

std::string Plain(const json& value) {
    return Plain(value.is_null()     ? ""
                 : value.is_string() ? value.get<std::string>()
                                     : value.dump());
}

std::map<std::string, std::string> Oracle(const std::string& name) {
    std::map<std::string, std::string> fields;
    std::map<std::string, std::string> outputs;
    for (const auto& row : Cases("ethtool_fields")) {  // field, command, heading, key
        std::string& output = outputs[row[1]];
        if (output.empty()) output = Output(row[1] + " " + name) + " ";
        fields[row[0]] = Plain(Lines(output, row[2])[row[3]]);
    }
    fields["mtu"] = Plain(json::parse(Output("ip -j link show " + name))[0]["mtu"]);
    fields["name"] = name;
    return fields;
}

/// Of a kernel that tells nothing of a switch or a number, both may be 0.
bool Same(const std::string& told, const std::string& expected) {
    return told == expected || (expected.empty() && (told == "false" || told == "255"));
}

void ExpectPortAsToldByOracles(const json& port) {
    const std::map<std::string, std::string> oracle = Oracle(port["name"]);
    for (const auto& [field, value] : port.items()) {
        if (field == "port_instance") continue;
        ASSERT_TRUE(oracle.contains(field)) << field;
        EXPECT_TRUE(Same(Plain(value), oracle.at(field)))
            << port["name"] << " " << field << ": " << value << ", not " << oracle.at(field);
    }
}

TEST_F(KernelHost, TellsWhatTheOraclesTell) {
    std::set<std::string> names;
    for (const json& card : agent->List("korvane listadapterprops")) {
        const std::string name = card["card_name"];
        names.insert(name);
        EXPECT_EQ(card["pci_bus_location"], name);
        EXPECT_EQ(card["port_count"], 1);
        const auto driver = Lines(Output("ethtool -i " + name));
        EXPECT_EQ(card["driver_firmware_version"], driver.at("version"));
        const json ports = agent->List("korvane listports pci=" + name);
        ASSERT_EQ(ports.size(), 1u);
        ExpectPortAsToldByOracles(ports[0]);
    }
    EXPECT_EQ(names, (std::set<std::string>{"b0", "i0", "t0", "v0", "v1"}));
}

TEST_F(KernelHost, TellsTheCountersOfKernelAndDriver) {
    const json kernel = json::parse(Output("ip -j -s link show v0"))[0]["stats64"];
    const auto driver = Lines(Output("ethtool -S v0"), "peer_ifindex");
    size_t of_driver = 0;
    for (const json& counter : agent->List("korvane getportstats pci=v0 port=0")) {
        const std::string name = counter["name"];
        const bool drivers_own = counter["kind"] == 1;
        of_driver += drivers_own;
        if (name == "rx_packets" || name == "tx_bytes") {
            const json& expected = kernel[name.substr(0, 2)][name.substr(3)];
            EXPECT_GE(counter["value"].get<int64_t>(), expected.get<int64_t>()) << name;
        }
        if (!drivers_own) continue;
        EXPECT_TRUE(std::ranges::any_of(driver, [&](const auto& line) {
            return line.first.substr(0, 30) == name;
        })) << name;
    }
    EXPECT_EQ(of_driver, driver.size());
    EXPECT_EQ(agent->List("korvane getcardstats pci=v0")[0]["name"], "rx_packets");
    EXPECT_EQ(agent->Status("korvane getcardstats pci=v9"), zwmgmt::kNoStatistics);
}

TEST_F(KernelHost, SetsWhatTheOraclesThenTell) {
    const Table<const char*, const char*, const char*> kCases = {
        {"v0 mtu=1400", "mtu", "1400"},
        {"v0 txcksum=0", "tx_checksum", "false"},
        {"v0 txcksum=1 rxcksum=0", "rx_checksum", "false"},
        {"v0 tso=0", "tso", "false"},
        {"v0 lso=1", "tso", "true"},
        {"v0 scattergather=0", "scatter_gather", "false"},
        {"v0 scattergather=1 gso=0 mtu=1300", "gso", "false"},
        {"t0 speedduplex=1000-half", "duplex", "half"},
        {"t0 speedduplex=100-full", "fixed_speed", "100"},
        {"t0 speedduplex=auto", "speed_mode", "true"},
        {"t0 msglevel=7", "message_level", "7"},
    };
    for (const auto& [change, field, expected] : kCases) {
        const std::string name = std::string(change).substr(0, 2);
        const std::string words = "korvane setportproperty port=0 pci=" + std::string(change);
        EXPECT_EQ(agent->Status(words), 0) << change;
        EXPECT_EQ(Oracle(name)[field], expected) << change;
    }
    EXPECT_EQ(agent->Status("net mtu set mtu=1280 ifname=v1"), 0);
    EXPECT_EQ(Oracle("v1")["mtu"], "1280");
}

TEST_F(KernelHost, LeavesWhatItRefusesAsItWas) {
    const Table<const char*, int> kCases = {
        {"korvane setportproperty port=0 pci=b0 speedduplex=100-full", 6},
        {"korvane setportproperty port=0 pci=b0 ringrx=64", 6},
        {"korvane setportproperty port=0 pci=v0 advertise=auto", 6},
        {"korvane setportproperty port=0 pci=v0 mtu=1300 txcksum=0 ringtx=64", 6},
        {"korvane setportproperty port=0 pci=v0 scattergather=0 gso=1", 6},
        {"korvane setportproperty port=0 pci=v0 mtu=1300 resetautoneg=1", 6},
        {"korvane setportproperty port=1 pci=v0 mtu=1300", 97},
        {"korvane setportproperty port=0 pci=../v0 mtu=1300", 97},
        {"korvane setportproperty port=0 pci=lo mtu=1300", 97},
        {"korvane setcardproperty pci=v0 mss=1000", 412},
        {"korvane listports pci=lo", 97},
        {"net mtu set mtu=67 ifname=v0", 6},
        {"net mtu set mtu=65535", 6},  // some of them do
        {"net mtu set mtu=1300 ifname=lo", 97},
        {"system loaddriver drvname=veth", 301},
        {"system loaddriver drvname=no_such_module", 310},
        {"system unloaddriver drvname=no-such-module", 67},
        {"system reloaddriver drvname=no_such_module", 67},
        {"net ping host=localhost", 412},
    };
    const std::string before = Output("ethtool -k v0") + Output("ip -o link show v0");
    for (const auto& [words, status] : kCases) {
        EXPECT_EQ(agent->Status(words), status) << words;
        EXPECT_EQ(Output("ethtool -k v0") + Output("ip -o link show v0"), before) << words;
    }
}

TEST_F(KernelHost, ListsDriversThatItHasOrMayLoad) {
    std::map<std::string, bool> drivers;
    for (const json& driver : agent->List("system listdrivers")) {
        drivers[driver["name"]] = driver["loaded"];
    }
    EXPECT_TRUE(drivers.contains("veth"));
    EXPECT_FALSE(drivers.at("no_such_module"));
}

TEST_F(KernelHost, HasASetterForEachProperty) {
    for (const zwmgmt::Argument& property : zwmgmt::PortProperties()) {
        if (!property.heeded.Has(zwmgmt::kLinux)) continue;
        PortRequest request = {};
        request.os_type = zwmgmt::kLinux;
        request.set_mask = property.bit;
        zwmgmt::SetFixedText(request.pci_bus_location, "b0");
        if (property.form != zwmgmt::Form::kNothing) zmagent::Store(property, 1, &request.settings);
        const agent::Reply reply =
            agent->host.Answer(zwmgmt::kKorvane, zwmgmt::kSetPortProperty, BytesOf(request));
        for (const char* fault : {"it cannot be set", "no property can have"}) {
            EXPECT_EQ(reply.reason.find(fault), reply.reason.npos) << property.word;
        }
    }
}

TEST_F(KernelHost, TakesNothingThatIsNoRequest) {
    for (const uint16_t service :
         {zwmgmt::kNet, zwmgmt::kKorvane, zwmgmt::kSystem, zwmgmt::kFilter}) {
        for (uint16_t opcode = zwmgmt::kSetMtu; opcode <= zwmgmt::kListX4Adapters; ++opcode) {
            const bool takes_nothing =
                opcode == zwmgmt::kListDrivers || opcode == zwmgmt::kListAdapterProps ||
                opcode == zwmgmt::kListX3Adapters || opcode == zwmgmt::kListX4Adapters;
            for (const size_t size : {0, 1, 16, 33, 68, 120, 239, 240, 241, 880, 5000}) {
                const Bytes data(size, 0xFF);
                const auto reply = agent->host.Answer(static_cast<uint8_t>(service), opcode, data);
                EXPECT_TRUE(reply.status != 0 || takes_nothing) << service << " " << opcode;
            }
        }
    }
}

TEST(KernelHostOfThisMachine, TellsOfPciFunctions) {
    KernelAgent agent({});
    const json cards = agent.List("korvane listadapterprops");
    if (cards.empty()) GTEST_SKIP() << "needs an Ethernet adapter on PCI";
    for (const json& card : cards) {
        const std::string location = card["pci_bus_location"];
        const std::string facts = ContentOf("/sys/bus/pci/devices/" + location + "/uevent");
        char expected[64];
        std::snprintf(expected, sizeof(expected), "PCI_CLASS=%X\nPCI_ID=%04X:%04X\n",
                      card["device_class"].get<int>(), card["vendor_id"].get<int>(),
                      card["device_id"].get<int>());
        EXPECT_NE(facts.find(expected), facts.npos) << facts << expected;
        for (const json& port : agent.List("korvane listports pci=" + location)) {
            EXPECT_EQ(Lines(Output("ethtool -i " + port["name"].get<std::string>()))["bus-info"],
                      location);
            ExpectPortAsToldByOracles(port);
        }
    }
}

}  // namespace
