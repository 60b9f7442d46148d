/// Filter rules in an adapter's own table, for which receive_rules.cpp stands, against ethtool.
#include "linux_agent/filters.h"

#include <filesystem>
#include <fstream>

#include "records/x4_rule.h"
#include "tests/linux/kernel_agent.h"

using namespace testing_support;

namespace {

class Filters : public testing::Test {
  protected:
    void SetUp() override {
        if (!LeaveNetwork()) GTEST_SKIP() << "needs root and a network namespace of its own";
        for (const char* command : kNetwork) ASSERT_EQ(RunTool(command).exit_status, 0) << command;
        std::filesystem::create_directory(folder);
        std::ofstream(folder / "v0");
        setenv("RECEIVE_RULES", folder.c_str(), 1);
        Restart();
    }
    void TearDown() override {
        unsetenv("RECEIVE_RULES");
        std::filesystem::remove_all(folder);
    }

    void Restart() {
        agent = std::make_unique<KernelAgent>(zmagent::KernelOptions{.virtual_interfaces = true});
    }
    static std::string Ethtool(const std::string& words) {
        const auto run = RunTool("LD_PRELOAD=" RECEIVE_RULES_SO " ethtool " + words);
        EXPECT_EQ(run.exit_status, 0) << words << run.err;
        return run.out;
    }
    int Status(const std::string& words) { return agent->Status("filter " + words); }
    json Rules() { return agent->List("filter list pci=v0 show=all"); }
    std::string Bytes() { return ContentOf(folder / "v0"); }

    const TemporaryFile place{""};
    const std::filesystem::path folder = place.Path() + "s";
    std::unique_ptr<KernelAgent> agent;
};

TEST_F(Filters, AreTheReceiveRulesThatEthtoolMakes) {
    Ethtool("-n v0");
    for (const auto& row : Cases("receive_rules")) {
        const std::string before = Bytes();
        const int status = Status("add pci=v0 id=4 " + row[0]);
        if (row[1].starts_with("! ")) {
            EXPECT_EQ(status, zwmgmt::kInvalidValue) << row[0];
            EXPECT_EQ(agent->Reason(), row[1].substr(2)) << row[0];
            EXPECT_EQ(Ethtool("-n v0").find("Filter: "), std::string::npos) << row[0];
            continue;
        }
        EXPECT_EQ(status, 0) << row[0] << ": " << agent->Reason();
        const std::string made = Bytes();
        const json listed = Rules();
        EXPECT_EQ(Status("delete pci=v0 id=4"), 0);
        Ethtool("-N v0 flow-type " + row[1] + " loc 19");
        EXPECT_TRUE(made == Bytes()) << row[0] << Ethtool("-n v0");
        EXPECT_EQ(Rules(), listed) << row[0];
        EXPECT_EQ(listed.size(), 1u) << row[0];
        EXPECT_EQ(Status("modify pci=v0 id=4 x4action=drop"), listed[0].contains("queue") ? 6 : 0);
        EXPECT_EQ(Status("delete pci=v0 id=4"), 0);
    }
}

TEST_F(Filters, LeaveTheRulesOfOthersAlone) {
    Ethtool("-N v0 flow-type tcp4 dst-port 1 action -1 loc 15");
    Ethtool("-N v0 flow-type tcp4 dst-port 2 user-def 5 action -1 loc 16");
    Ethtool("-N v0 flow-type tcp4 dst-port 3 action -1");
    const std::string others = Bytes();
    EXPECT_EQ(Status("list pci=v0 show=all"), zwmgmt::kNoFilters);
    const Table<const char*, int> kSteps = {
        {"add pci=v0 id=1 protocol=6 x4action=drop", zwmgmt::kInvalidFilterId},
        {"delete pci=v0 id=1", zwmgmt::kInvalidFilterId},
        {"add pci=v0 protocol=6 lport=4 x4action=drop", 0},
        {"add pci=v0 id=17 protocol=6 x4action=drop", zwmgmt::kInvalidFilterId},
        {"addx3 ifname=v0 sip=10.1.0.0/16 dport=80 proto=tcp vlanid=5 queue=2", 0},
        {"addx3 ifname=v0 id=2 proto=frag action=drop", zwmgmt::kInvalidValue},
        {"addx3 ifname=v0 id=2 mac=1 action=drop", zwmgmt::kInvalidValue},
        {"modify pci=v0 id=2 protocol=132", zwmgmt::kInvalidValue},
        {"modify pci=v0 id=2 lport=5", 0},
    };
    for (const auto& [words, status] : kSteps) EXPECT_EQ(Status(words), status) << words;
    const std::string told = Ethtool("-n v0 rule 17") + Ethtool("-n v0 rule 32");
    for (const char* line : {"Dest port: 5 mask: 0x0", "Action: Drop", "Src IP addr: 10.1.0.0 mask",
                             "VLAN: 0x5 mask: 0xf000", "Action: Direct to queue 2"}) {
        EXPECT_NE(told.find(line), told.npos) << line << "\n" << told;
    }
    const json rules = Rules(), x3 = agent->List("filter listx3");
    EXPECT_EQ(x3[0]["source_prefix"], 16);
    EXPECT_EQ(agent->Ask("filter maxfilters get ifname=v0")["result"]["max"], 16);
    Restart();
    EXPECT_EQ(Rules(), rules);
    EXPECT_EQ(agent->List("filter listx3"), x3);
    EXPECT_EQ(Status("delete pci=v0 id=2") + Status("deletex3 ifname=v0 id=1"), 0);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(Bytes()[i], others[i]) << i;
}

TEST_F(Filters, OfTheClientsOwnPathCanBePutBack) {
    EXPECT_EQ(RunTool("ip address add 192.0.2.1/24 dev v0").exit_status, 0);
    zmagent::Client client = {.ends = zmagent::Ends{.host = {.bytes = {192, 0, 2, 1}},
                                                    .client = {.bytes = {192, 0, 2, 2}}}};
    _FilterX4 rule = {};
    zwmgmt::SetFixedText(rule.pci_bus_location, "v0");
    EXPECT_EQ(Status("add pci=v0 id=2 protocol=6 lport=1 x4action=drop"), 0);
    const json before = Rules();
    const Table<uint16_t, uint32_t> kChanges = {
        {zwmgmt::kAddFilterX4, 3}, {zwmgmt::kModifyFilterX4, 2}, {zwmgmt::kDeleteFilterX4, 2}};
    for (const auto& [opcode, id] : kChanges) {
        rule.id = id;
        rule.protocol = {17, 0xFF};
        rule.action = 2;  // drop
        rule.present = zwmgmt::X4Bit("protocol") | zwmgmt::X4Bit("action");
        client.put_back = nullptr;
        const auto reply = agent->host.AnswerTo(client, zwmgmt::kFilter, opcode, BytesOf(rule));
        EXPECT_EQ(reply.status, 0) << opcode;
        EXPECT_NE(Rules(), before) << opcode;
        ASSERT_TRUE(client.put_back) << opcode;
        EXPECT_EQ(client.put_back(), "");
        EXPECT_EQ(Rules(), before) << opcode;
    }
}

TEST_F(Filters, AreOfOnePortOfTheAdapter) {
    std::ofstream(folder / "v1");
    zmagent::Kernel kernel;
    zmagent::Adapter both = {.location = "0000:05:00.0", .on_pci = true, .ports = {}};
    for (const zmagent::Interface& port : zmagent::Interfaces(kernel)) {
        if (port.name.starts_with('v')) both.ports.push_back(port);
    }
    std::ranges::sort(both.ports, {}, &zmagent::Interface::name);
    CannedHost host(
        [&](uint8_t service, uint16_t opcode, auto data) {
            if (service != zwmgmt::kFilter) return agent->host.Answer(service, opcode, data);
            std::optional<zmagent::RuleChanged> changed;
            return *zmagent::AnswerFilter(kernel, {both}, opcode, data, &changed);
        },
        zwmgmt::kLinux);
    const TestAgent two_ports(host);
    const auto ask = [&](const std::string& words) {
        auto all = Words("--format json filter " + words);
        return json::parse(Zwcli(two_ports.Port(), all).out);
    };
    const Table<const char*, int> kSteps = {
        {"add pci=0000:05:00.0 protocol=6 x4action=drop", zwmgmt::kInvalidValue},
        {"add pci=0000:05:00.0 port=2 protocol=6 x4action=drop", zwmgmt::kInvalidValue},
        {"add pci=0000:05:00.0 port=1:1 protocol=6 x4action=drop", zwmgmt::kInvalidValue},
        {"add pci=0000:05:00.0 port=1 protocol=6 x4action=drop", 0},
        {"add pci=0000:05:00.0 id=1 port=0 x4action=drop", zwmgmt::kInvalidFilterId},
        {"modify pci=0000:05:00.0 id=1 port=0", zwmgmt::kInvalidValue},
        {"modify pci=0000:05:00.0 id=1 lport=80", 0},
        {"addx3 ifname=v1 proto=udp action=drop", 0},
    };
    for (const auto& [words, status] : kSteps) EXPECT_EQ(ask(words)["status"], status) << words;
    const json rules = ask("list pci=0000:05:00.0 show=all")["result"];
    EXPECT_EQ(rules[0]["port"], "0x1:0x7");
    EXPECT_EQ(rules[0]["lport"], "0x50:0xffff");
    EXPECT_NE(Ethtool("-n v1 rule 16").find("Dest port: 80 mask"), std::string::npos);
    EXPECT_NE(Ethtool("-n v1 rule 32").find("UDP over IPv4"), std::string::npos);
    EXPECT_NE(Ethtool("-n v0").find("Total 0 rules"), std::string::npos);
}

TEST_F(Filters, AreOfferedWhereTheKernelHasThem) {
    const auto offered = [&] { return agent->Ask("system getcapabilities")["result"]["filter"]; };
    EXPECT_EQ(offered(), "available");
    std::filesystem::remove(folder / "v0");
    const bool has = RunTool("tc qdisc add dev v1 clsact").exit_status == 0 &&
                     RunTool("tc filter add dev v1 ingress flower action drop").exit_status == 0;
    EXPECT_EQ(offered(), has ? "available" : "not available");
    EXPECT_EQ(Output("tc qdisc show dev lo").find("clsact"), std::string::npos);
}

}  // namespace
