/// The host model of Linux, asked by the real front end, and by those who send anything.
#include <map>

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

}  // namespace
