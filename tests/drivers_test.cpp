/// Loading, unloading and installing drivers: requests, outcomes, and what is checked before a
/// package is sent.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

constexpr const char* kInvalidKey = "Invalid key specified\n";

/// A session that has learnt the OS from an agent, which is gone.
struct SessionOf {
    explicit SessionOf(uint8_t os_type) : host([](auto...) { return zmsim::Reply{}; }, os_type) {
        TestAgent agent(host);
        EXPECT_EQ(session.Connect(agent.Port()), kSuccess);
    }
    CannedHost host;
    TestSession session;
};

}  // namespace

TEST(LoadDriver, RequestsFollowTheAgentsOs) {
    const std::string kxgb4("kxgb4\0\0\0\0\0\0\0\0\0\0\0", 16);
    const std::string none("NONE\0\0\0\0\0\0\0\0\0\0\0\0", 16);
    const std::string twelve("12\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16);
    // clang-format off
    const Table<uint8_t, std::vector<const char*>, int, std::string, const char*> rows = {
        {2, {"loaddriver", "drvname=kxgb4"}, 145, "kxgb4", ""}, {2, {"reloaddriver", "drvname=kxgb4"}, 146, "kxgb4", ""},
        {2, {"unloaddriver", "drvname=kxgb4", "num_vf=12"}, 147, "kxgb4", ""},
        {8, {"unloaddriver", "drvname=kxgb4"}, 147, "kxgb4", ""},
        {8, {"loaddriver", "drvname=kxgb4"}, 145, kxgb4 + none, ""},
        {8, {"reloaddriver", "drvname=kxgb4", "num_vf=12"}, 146, kxgb4 + twelve, ""},
        {8, {"loaddriver", "drvname=kxgb4", "num_vf=12", "path=x"}, 145, kxgb4 + none, ""},
        {8, {"loaddriver", "drvname=0123456789abcdefX", "num_vf=0123456789abcdefX"}, 145, "0123456789abcdef0123456789abcdef", ""},
        {8, {"loaddriver", "drvname=kxgb4", "path=x"}, 0, "", kInvalidKey},
        {2, {"loaddriver", "num_vf=4", "drvname=kxgb4"}, 0, "", kInvalidKey},
        {2, {"unloaddriver"}, 0, "", kInvalidKey}, {3, {"reloaddriver", "path=x"}, 0, "", kInvalidKey},
    };
    // clang-format on
    for (const auto& [os_type, words, opcode, data, printed] : rows) {
        int asked = 0;
        std::string sent;
        CannedHost host(
            [&](uint8_t service, uint16_t got, auto bytes) {
                asked = service == 5 ? got : -1;
                sent.assign(bytes.begin(), bytes.end());
                return zmsim::Reply{.status = 1, .data = {}};
            },
            os_type);
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        std::vector<const char*> line = {"system"};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(session.Run(line), opcode == 0 ? 1 : 0);
        EXPECT_EQ(asked, opcode) << words[0];
        EXPECT_EQ(sent, data) << words[0];
        const std::string said = session.Printed();
        EXPECT_EQ(said.starts_with("Cannot ") ? "" : said, printed);
    }
}

TEST(LoadDriver, OutcomesHaveTheirTexts) {
    using Printer = void (ZwMgmt_interface::*)(_Message*);
    constexpr Printer load = &ZwMgmt_interface::GetKorvaneLoadDrvResponse;
    constexpr Printer reload = &ZwMgmt_interface::GetKorvaneReLoadDrvResponse;
    constexpr Printer unload = &ZwMgmt_interface::GetKorvaneUnLoadDrvResponse;
    // clang-format off
    const Table<Printer, uint32_t, uint8_t, const char*> rows = {
        {load, 0, 2, "Successful\n"}, {reload, 0, 3, "Successful\n"}, {unload, 0, 8, "Successful\n"},
        {load, 304, 2, "Driver is already Loaded\n"},
        {load, 301, 3, "Error: Unsupported driver to load...! Supported drivers on solaris agent are kxgbe / kxge \n"},
        {load, 301, 8, "Cannot load the Driver \n"}, {load, 310, 2, "Error: Load driver operation failed\n"},
        {load, 413, 2, "Cannot load the Driver \n"},
        {unload, 305, 2, "Driver Unload failed, the driver might not be loaded\n"},
        {unload, 301, 3, "Error: Unsupported driver to unload...! .Supported drivers on solaris agent are kxgbe / kxge \n"},
        {unload, 301, 2, "Cannot unload the Driver \n"},
        {unload, 67, 2, "Error: Unload driver operation failed. Given driver is not loaded on the agent\n"},
        {unload, 302, 2, "Error: Unload driver operation failed.\n"},
        {unload, 413, 2, "Error: Unload failed, as the driver is in use by other running modules.\n"},
        {unload, 304, 2, "Cannot unload the Driver \n"},
        {reload, 305, 2, "Driver Reload failed, the driver may not be loaded\n"},
        {reload, 67, 2, "Error: Driver Reload failed. Specified driver is not loaded in agent\n"},
        {reload, 304, 2, "Driver already loaded \n"},
        {reload, 413, 2, "Error: Reload failed, as the driver is in use by other running modules.\n"},
        {reload, 301, 3, "Cannot reload the Driver \n"}, {reload, 302, 2, "Cannot reload the Driver \n"},
    };
    // clang-format on
    TestSession session;
    for (const auto& [printer, status, os_type, text] : rows) {
        _Message reply = {};
        reply.status = status;
        reply.os_type = os_type;
        (session.*printer)(&reply);
        EXPECT_EQ(session.Printed(), text);
    }
}

namespace {

struct InstallRow {
    int os_type;
    int generation_before;
    std::vector<std::pair<const char*, const char*>> options;
    int result;
    int64_t types;  // this and the next two: -1 where they do not matter
    int paths;
    int generation;
    const char* printed;
};

// Written down apart from the code's tables.
// clang-format off
const InstallRow kInstallRows[] = {
    {2, 0, {}, 1, -1, -1, 0, "Driver type is not specified \n"}, {2, 0, {{"type", "nic,TOE"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x5, 1, 0, ""},
    {2, 1, {{"type", "nic"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x1, 1, 0, ""}, {2, 0, {{"type", "nic,bogus,NICX,vnic"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x3, 1, 0, ""},
    {2, 0, {{"type", "bogus"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, 0x0, 1, 0, "Driver type is not specified \n"},
    {2, 0, {{"kxgb3path", "/kxgb3toe-1"}}, 1, 0x0, 1, 0, "Driver type is not specified \n"}, {2, 0, {{"conftype", "1"}}, 1, 0x0, 0, 0, "Driver type is not specified \n"},
    {2, 0, {{"pci", "0000:01:00.0"}}, 1, 0x0, 0, 0, "Driver type is not specified \n"},
    {2, 0, {{"pci", "0000:01:00.0"}, {"type", "team"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x10, 1, 0, ""},
    {2, 0, {{"type", "zm"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x7, 1, 0, ""}, {2, 0, {{"type", "ZM,iscsi,ofed"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x7, 1, 0, ""},
    {2, 0, {{"type", "nic,zm"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x1, 1, 0, ""},
    {2, 1, {{"type", "TOE_IPv4,Bonding,ISCSI_PDU_Initiator,iscsi_pdu_TARGET,iWARP,ByPass,VF,IPv6,FCoE_full_offload_initiator,UDP_offload,WDTOE,wdudp,iwarp_wdudp_libs,sniffer_filter,sniffer_trace,util_tools"}, {"kxgb4path", "/KorvaneZwire-2"}}, 0, 0xf7eda8, 1, 1, ""},
    {2, 0, {{"type", "nic"}}, 1, 0x1, 0, 0, "Driver path is not specified \n"}, {1, 1, {{"type", "all"}}, 1, 0x1000000, 0, 1, "Driver path is not specified \n"},
    {2, 0, {{"type", "all"}}, 1, 0x1000000, 0, 0, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "nd,nic"}}, 1, 0x1001, 0, 0, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "all"}, {"kxgb3path", "/wrong"}}, 1, -1, -1, -1, "X3 driver cannot have type=all\n"},
    {1, 0, {{"type", "nic,ALL"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, -1, -1, -1, "X3 driver cannot have type=all\n"},
    {1, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, -1, -1, -1, "Please provide the installshieldpath\n"},
    {2, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb3"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {2, 0, {{"type", "nic"}, {"kxgb3path", "/KXGB3TOE-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {2, 0, {{"type", "iscsi"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, 0x44, 1, 0, ""}, {2, 0, {{"type", "ofed"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, 0x204, 1, 0, ""},
    {2, 0, {{"type", "iscsi"}, {"kxgb3path", "/kxgb3toe-1"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x44, 2, 0, ""},
    {2, 0, {{"kxgb3path", "/kxgb3toe-1"}, {"type", "iscsi"}}, 1, 0x40, 1, 0, ""},
    {2, 0, {{"kxgb3path", "/kxgb3toe-1"}, {"type", "all"}}, 1, 0x1000000, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "vnic,bypass"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, 0x802, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {3, 1, {{"type", "nic"}, {"kxgb3path", "/kxge-1"}}, 0, 0x1, 1, 0, ""},
    {3, 0, {{"type", "nic"}, {"kxgb3path", "/kxgbe-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {3, 0, {{"type", "nic,toe"}, {"kxgb3path", "/kxge-1"}}, 1, 0x5, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {5, 1, {{"type", "nic"}, {"kxgb3path", "/vmware-esx-drivers-net"}}, 0, 0x1, 1, 0, ""},
    {5, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb3toe"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {5, 0, {{"type", "toe"}, {"kxgb3path", "/vmware-esx-drivers-net"}}, 1, 0x4, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {6, 1, {{"type", "nic"}, {"kxgb3path", "/kxgb-1"}}, 0, 0x1, 1, 0, ""},
    {6, 0, {{"type", "nic"}, {"kxgb3path", "/driver-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {6, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb-X4"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {6, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb-X5"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {6, 0, {{"type", "vnic"}, {"kxgb3path", "/kxgb-1"}}, 1, 0x2, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {8, 0, {{"type", "nic"}, {"kxgb3path", "/driver-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {8, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb-1"}}, 1, 0x1, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {8, 1, {{"kxgb3path", "/kxgb-1"}, {"type", "all"}}, 0, 0x1000000, 1, 0, ""},
    {4, 1, {{"type", "nic"}, {"kxgb3path", "/anything"}}, 1, 0x1, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {4, 1, {{"type", "all"}, {"kxgb3path", "/anything"}}, 1, -1, -1, -1, "X3 driver cannot have type=all\n"},
    {4, 1, {{"kxgb3path", "/anything"}, {"type", "all"}}, 1, 0x1000000, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {7, 0, {{"type", "nic"}, {"kxgb3path", "/anything"}}, 1, 0x1, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {1, 1, {{"type", "nic"}, {"kxgb4path", "/KorvaneZwire-2"}}, 1, -1, -1, -1, "Please provide the installshieldpath\n"},
    {2, 0, {{"type", "nic,all"}, {"kxgb4path", "/KorvaneZwire-2"}}, 0, 0x1000001, 1, 1, ""},
    {2, 1, {{"type", "nic"}, {"kxgb4path", "/korvanezwire-2"}}, 1, -1, -1, -1, "Please provide the correct kxgb4path\n"},
    {2, 1, {{"type", "team"}, {"kxgb4path", "/KorvaneZwire-2"}}, 1, 0x10, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "iscsi"}, {"kxgb4path", "/KorvaneZwire-2"}}, 1, 0x44, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "ofed"}, {"kxgb4path", "/KorvaneZwire-2"}}, 1, 0x204, 1, 1, ""},
    {2, 0, {{"type", "ofed"}, {"kxgb4path", "/KorvaneZwire-2"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "basic"}}, 0, 0x204, 2, 1, ""},
    {2, 0, {{"kxgb4path", "/KorvaneZwire-2"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "basic"}, {"type", "ofed"}}, 0, 0x200, 2, 1, ""},
    {2, 0, {{"type", "iscsi"}, {"kxgb4path", "/KorvaneZwire-2"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x44, 2, 0, ""},
    {2, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb3toe-1"}, {"kxgb4path", "/KorvaneZwire-2"}}, 0, 0x1, 2, 1, ""},
    {3, 0, {{"type", "nic"}, {"kxgb4path", "/kxgbe-1"}}, 0, 0x1, 1, 1, ""},
    {3, 1, {{"type", "nic"}, {"kxgb4path", "/kxge-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb4path\n"},
    {3, 1, {{"type", "vnic"}, {"kxgb4path", "/kxgbe-1"}}, 1, 0x2, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {4, 0, {{"type", "all"}, {"kxgb4path", "/anything"}}, 0, 0x1000000, 1, 1, ""},
    {4, 0, {{"type", "nic,all"}, {"kxgb4path", "/anything"}}, 1, 0x1000001, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {5, 1, {{"type", "nic"}, {"kxgb4path", "/vmware-esx-drivers-net"}}, 1, -1, -1, -1, "X4 Driver not supported on ESX\n"},
    {6, 0, {{"type", "nic"}, {"kxgb4path", "/kxgb-X4-X5"}}, 0, 0x1, 1, 1, ""},
    {6, 1, {{"type", "nic"}, {"kxgb4path", "/driver-X4-X5"}}, 1, -1, -1, -1, "Please provide the correct kxgb3path\n"},
    {6, 1, {{"type", "nic"}, {"kxgb4path", "/kxgb-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb4path\n"},
    {6, 1, {{"type", "nic"}, {"kxgb4path", "/kxgb-X4"}}, 1, -1, -1, -1, "Please provide the correct kxgb4path\n"},
    {6, 1, {{"type", "nic"}, {"kxgb4path", "/kxgb-X5"}}, 1, -1, -1, -1, "Please provide the correct kxgb4path\n"},
    {6, 1, {{"type", "all"}, {"kxgb4path", "/kxgb-X4-X5"}}, 1, 0x1000000, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {8, 0, {{"type", "all"}, {"kxgb4path", "/kxgb-1"}}, 0, 0x1000000, 1, 1, ""},
    {8, 1, {{"type", "all"}, {"kxgb4path", "/driver-1"}}, 1, -1, -1, -1, "Please provide the correct kxgb4path\n"},
    {8, 1, {{"type", "nic"}, {"kxgb4path", "/kxgb-1"}}, 1, 0x1, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {2, 1, {{"type", "iscsi"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x40, 1, 0, ""},
    {2, 0, {{"type", "iscsi"}, {"iscsipath", "/VQISCSI"}}, 1, -1, -1, -1, "Please provide the correct iscsipath\n"},
    {1, 1, {{"type", "iscsi"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x40, 1, 0, ""}, {3, 1, {{"type", "nic"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x1, 1, 0, ""},
    {2, 1, {{"type", "nic,toe,iscsi"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x45, 1, 0, ""},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "HPC"}}, 0, 0x200, 1, 0, ""},
    {2, 1, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "Basic"}}, 0, 0x200, 1, 1, ""},
    {2, 2, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "ALL"}}, 0, 0x200, 1, 2, ""},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "my.conf"}}, 0, 0x200, 1, 0, ""},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "My.CONF"}}, 0, 0x200, 1, 0, ""},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "my.conf.bak"}}, 1, -1, -1, 0, "Please specify the correct ofedpkg\n\n"},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "basics"}}, 1, -1, -1, 0, "Please specify the correct ofedpkg\n\n"},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/ofed-1.5"}}, 1, -1, -1, 0, "Please provide the correct OFED driver path\n"},
    {2, 0, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}}, 1, 0x200, 1, 0, "Please specify the \"ofedpkg\" for ofed to install\n"},
    {2, 0, {{"type", "ofed"}, {"ofedpkg", "basic"}, {"ofedpath", "/OFED-1.5.tgz"}}, 1, 0x200, 1, 0, "Please specify the \"ofedpkg\" for ofed to install\n"},
    {2, 0, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}}, 1, 0x1, 1, 0, "Please specify the \"ofedpkg\" for ofed to install\n"},
    {2, 0, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1, 1, 0, ""},
    {2, 0, {{"type", "nic"}, {"kxgb3path", "/kxgb3toe-1"}, {"ofedpkg", "bogus"}}, 0, 0x1, 1, 0, ""},
    {2, 0, {{"type", "ofed"}, {"ofedpkg", "basic"}}, 1, 0x200, 0, 0, "Driver path is not specified \n"},
    {2, 0, {{"type", "iscsi"}, {"ofedpath", "/OFED-1.5.tgz"}}, 1, 0x40, 1, 0, "Please specify the \"ofedpkg\" for ofed to install\n"},
    {2, 0, {{"type", "iscsi,ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "hpc"}}, 1, 0x240, 1, 0, ""},
    {2, 0, {{"type", "iscsi,ofed"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x240, 1, 0, ""},
    {2, 0, {{"type", "iscsi,ofed"}, {"iscsipath", "/vqiscsi-1"}, {"ofedpath", "/OFED-1.5.tgz"}}, 1, 0x240, 2, 0, "Please specify the \"ofedpkg\" for ofed to install\n"},
    {2, 0, {{"type", "ofed"}, {"iscsipath", "/vqiscsi-1"}}, 1, 0x200, 1, 0, ""},
    {1, 0, {{"type", "nic"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 0, 0x1, 1, 0, ""},
    {1, 1, {{"type", "iscsi"}, {"installshieldpath", "C:/VQX4Zwire"}}, 0, 0x40, 1, 1, ""},
    {1, 1, {{"type", "iscsi_pdu_initiator,fcoe_full_offload_initiator"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 0, 0x8080, 1, 1, ""},
    {1, 1, {{"type", "all"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 0, 0x1000000, 1, 1, ""},
    {1, 1, {{"type", "nd"}, {"installshieldpath", "C:/ND/KorvaneZwire"}}, 1, -1, -1, 1, "Please provide the correct ND Driver path\n"},
    {1, 1, {{"type", "nic"}, {"installshieldpath", "C:/ND/Setup"}}, 1, -1, -1, 1, "Please provide the correct KorvaneZwire Driver path\n"},
    {2, 1, {{"type", "nic"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 1, -1, -1, 1, "Installshieldpath is only for Windows\n"},
    {3, 0, {{"type", "nic"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 1, -1, -1, 0, "Installshieldpath is only for Windows\n"},
    {2, 0, {{"type", "nic,iwarp"}, {"zwirepath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x401, 1, 1, ""},
    {2, 0, {{"type", "all"}, {"zwirepath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x1000000, 1, 1, ""},
    {2, 0, {{"type", "nic"}, {"zwirepath", "/korvanezwire.tar.gz"}}, 1, -1, -1, -1, "Please provide the correct korvane zwire package path\n"},
    {1, 1, {{"type", "nic"}, {"zwirepath", "/KorvaneZwire-2.tar.gz"}}, 1, -1, -1, -1, "zwire driver package is only for Linux\n"},
    {2, 0, {{"type", "team"}, {"zwirepath", "/KorvaneZwire-2.tar.gz"}}, 1, 0x10, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "nic"}, {"conftype", "5"}, {"zwirepath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x1, 1, 1, ""},
    {2, 0, {{"type", "nic"}, {"conftype", "0"}, {"kxgb3path", "/kxgb3toe-1"}}, 0, 0x1, 1, 0, ""},
    {2, 0, {{"type", "nic"}, {"conftype", "6"}, {"zwirepath", "/KorvaneZwire-2.tar.gz"}}, 1, -1, -1, 0, "Please provide the correct conf type value\n"},
    {2, 2, {{"conftype", "10"}}, 1, -1, -1, 2, "Please provide the correct conf type value\n"},
    {2, 0, {{"type", "zm"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x7, 1, 0, ""}, {1, 0, {{"type", "Zm"}, {"zmpath", "C:/VQX4ZWIRE.EXE"}}, 0, 0x7, 1, 0, ""},
    {2, 0, {{"type", "toe,vnic,nic"}, {"zmpath", "/vqx4zwire.gz"}}, 0, 0x7, 1, 0, ""}, {2, 0, {{"type", "nic"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x1, 1, 0, ""},
    {2, 0, {{"type", "zm"}, {"zmpath", "/update.tar.gz"}}, 1, -1, -1, 0, "Please provide the correct (for Linux) Installshield(for Windows) path\n472\n"},
    {2, 0, {{"type", "zm"}, {"zmpath", "/KorvaneZwire.zip"}}, 1, -1, -1, 0, "Please provide the correct(for Linux) Installshield(for Windows) path\n"},
    {3, 0, {{"type", "zm"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 1, -1, -1, 0, "ZM update supported only on Windows and Linux\n"},
    {8, 1, {{"type", "zm"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 1, -1, -1, 1, "ZM update supported only on Windows and Linux\n"},
    {2, 0, {{"type", "zm"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}, {"ofedpath", "/OFED-1.5.tgz"}}, 0, 0x7, 2, 0, ""},
    {2, 0, {{"type", "nic,toe"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}, {"ofedpath", "/OFED-1.5.tgz"}}, 1, 0x5, 2, 0, "Please specify the \"ofedpkg\" for ofed to install\n"},
    {2, 0, {{"type", "iscsi"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 1, 0x40, 1, 0, ""}, {2, 0, {{"type", "zm"}}, 1, 0x7, 0, 0, "Driver path is not specified \n"},
    {1, 0, {{"type", "nic,vnic,toe,team,iscsi,iscsi_pdu_initiator,iwarp,fcoe_full_offload_initiator,all"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 0, 0x10084d7, 1, 0, ""},
    {1, 0, {{"type", "nic,ofed"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 1, 0x201, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {1, 1, {{"type", "nic,team,iwarp"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 0, 0x411, 1, 1, ""},
    {1, 1, {{"type", "toe_ipv4"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 1, 0x8, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {1, 2, {{"type", "nic,vnic,toe"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 0, 0x7, 1, 2, ""},
    {1, 2, {{"type", "iscsi"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 1, 0x40, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {1, 5, {{"type", "team"}, {"installshieldpath", "C:/KorvaneZwire_Setup"}}, 1, 0x10, 1, 5, "The specified driver type(s) does not apply for this driver \n"},
    {2, 0, {{"type", "nic,vnic,toe,team,iscsi,ofed"}, {"kxgb3path", "/kxgb3toe-1"}, {"iscsipath", "/vqiscsi-1"}}, 0, 0x257, 2, 0, ""},
    {2, 0, {{"type", "nic,toe_ipv4"}, {"kxgb3path", "/kxgb3toe-1"}}, 1, 0x9, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {2, 2, {{"type", "nic,util_tools"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x800001, 1, 2, ""},
    {2, 2, {{"type", "nd"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 1, 0x1000, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {2, 3, {{"type", "vnic,toe"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 0, 0x6, 1, 3, ""},
    {2, 3, {{"type", "bonding"}, {"zmpath", "/KorvaneZwire-2.tar.gz"}}, 1, 0x20, 1, 3, "The specified driver type(s) does not apply for this driver \n"},
    {3, 2, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1, 1, 2, ""},
    {3, 2, {{"type", "toe"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x4, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {3, 3, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1, 1, 3, "The specified driver type(s) does not apply for this driver \n"},
    {4, 2, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1000000, 1, 2, ""},
    {4, 2, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {4, 0, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1000000, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {4, 3, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1000000, 1, 3, "The specified driver type(s) does not apply for this driver \n"},
    {5, 1, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1, 1, 1, ""},
    {5, 1, {{"type", "vnic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x2, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {5, 2, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1, 1, 2, ""},
    {5, 2, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1000000, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {5, 3, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1, 1, 3, "The specified driver type(s) does not apply for this driver \n"},
    {6, 2, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1, 1, 2, ""},
    {6, 2, {{"type", "ofed"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x200, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {6, 3, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1, 1, 3, "The specified driver type(s) does not apply for this driver \n"},
    {8, 0, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1000000, 1, 0, ""},
    {8, 2, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 0, 0x1000000, 1, 2, ""},
    {8, 2, {{"type", "nic,all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1000001, 1, 2, "The specified driver type(s) does not apply for this driver \n"},
    {8, 3, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1000000, 1, 3, "The specified driver type(s) does not apply for this driver \n"},
    {7, 1, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {0, 0, {{"type", "nic"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1, 1, 0, "The specified driver type(s) does not apply for this driver \n"},
    {9, 1, {{"type", "all"}, {"ofedpath", "/OFED-1.5.tgz"}, {"ofedpkg", "all"}}, 1, 0x1000000, 1, 1, "The specified driver type(s) does not apply for this driver \n"},
    {1, 1, {{"type", "nd"}, {"zmpath", "C:/KorvaneZwire.exe"}}, 0, 0x1000, 1, 1, ""},
};

/// OS, generation, types, whether they are refused.
const int kAllowedRows[][4] = {
    {0, -1, 0x1, 1}, {0, 0, 0x1, 1}, {0, 1, 0x1, 1}, {0, 2, 0x1, 1}, {0, 3, 0x1, 1}, {1, -1, 0x7, 0}, {1, -1, 0xf, 1}, {1, 0, 0x10094d7, 0}, {1, 0, 0x10094df, 1},
    {1, 1, 0x10094d7, 0}, {1, 1, 0x10094df, 1}, {1, 2, 0x7, 0}, {1, 2, 0xf, 1}, {1, 3, 0x7, 0}, {1, 3, 0xf, 1}, {2, -1, 0x7, 0}, {2, -1, 0xf, 1}, {2, 0, 0x257, 0},
    {2, 0, 0x25f, 1}, {2, 1, 0x1f7efaf, 0}, {2, 1, 0x1f7efbf, 1}, {2, 2, 0x1f7efaf, 0}, {2, 2, 0x1f7efbf, 1}, {2, 3, 0x7, 0}, {2, 3, 0xf, 1}, {3, -1, 0x1, 1},
    {3, 0, 0x1, 0}, {3, 0, 0x3, 1}, {3, 1, 0x1, 0}, {3, 1, 0x3, 1}, {3, 2, 0x1, 0}, {3, 2, 0x3, 1}, {3, 3, 0x1, 1}, {4, -1, 0x1, 1}, {4, 0, 0x1, 1}, {4, 1, 0x1000000, 0},
    {4, 1, 0x1000001, 1}, {4, 2, 0x1000000, 0}, {4, 2, 0x1000001, 1}, {4, 3, 0x1, 1}, {5, -1, 0x1, 1}, {5, 0, 0x1, 0}, {5, 0, 0x3, 1}, {5, 1, 0x1, 0}, {5, 1, 0x3, 1},
    {5, 2, 0x1, 0}, {5, 2, 0x3, 1}, {5, 3, 0x1, 1}, {6, -1, 0x1, 1}, {6, 0, 0x1, 0}, {6, 0, 0x3, 1}, {6, 1, 0x1, 0}, {6, 1, 0x3, 1}, {6, 2, 0x1, 0}, {6, 2, 0x3, 1},
    {6, 3, 0x1, 1}, {7, -1, 0x1, 1}, {7, 0, 0x1, 1}, {7, 1, 0x1, 1}, {7, 2, 0x1, 1}, {7, 3, 0x1, 1}, {8, -1, 0x1, 1}, {8, 0, 0x1000000, 0}, {8, 0, 0x1000001, 1},
    {8, 1, 0x1000000, 0}, {8, 1, 0x1000001, 1}, {8, 2, 0x1000000, 0}, {8, 2, 0x1000001, 1}, {8, 3, 0x1, 1}, {9, -1, 0x1, 1}, {9, 0, 0x1, 1}, {9, 1, 0x1, 1},
    {9, 2, 0x1, 1}, {9, 3, 0x1, 1},
};
// clang-format on

}  // namespace

TEST(Install, OptionsAreChecked) {
    std::map<int, std::unique_ptr<SessionOf>> sessions;
    for (const InstallRow& row : kInstallRows) {
        auto& of = sessions[row.os_type];
        if (!of) of = std::make_unique<SessionOf>(static_cast<uint8_t>(row.os_type));
        std::vector<Client_Request_Argument> arguments = {{"", -1}};
        std::string described;
        for (const auto& [key, value] : row.options) {
            arguments.push_back({value, ZwMgmt_interface::CLGetKeyNo(key, kSystem)});
            described += std::string(key) + "=" + value + " ";
        }
        if (row.options.empty()) arguments.clear();
        Client_Request_Message request = {kSystem, kInstall, 0, arguments.data(),
                                          static_cast<uint32_t>(arguments.size())};
        int x3_path_given = 0, paths = 0, generation = row.generation_before;
        uint32_t types = 0;
        EXPECT_EQ(of->session.CLdoValidationsDrvInstall(&request, &x3_path_given, &paths, &types,
                                                        &generation),
                  row.result)
            << row.os_type << ' ' << described;
        EXPECT_EQ(of->session.Printed(), row.printed) << row.os_type << ' ' << described;
        const auto as_expected = [](int64_t expected, int64_t got) {
            return expected == -1 || expected == got;
        };
        EXPECT_TRUE(as_expected(row.types, types)) << row.os_type << ' ' << described << types;
        EXPECT_TRUE(as_expected(row.paths, paths)) << row.os_type << ' ' << described << paths;
        EXPECT_TRUE(as_expected(row.generation, generation)) << described << generation;
        const bool x3 = (types & 0x240) != 0;
        EXPECT_TRUE(row.result != 0 || x3_path_given == x3) << described;
    }
}

TEST(Install, TypesFollowOsAndGeneration) {
    std::map<int, std::unique_ptr<SessionOf>> sessions;
    for (const auto& [os_type, generation, types, refused] : kAllowedRows) {
        auto& of = sessions[os_type];
        if (!of) of = std::make_unique<SessionOf>(static_cast<uint8_t>(os_type));
        EXPECT_EQ(of->session.CLIsValidOSDrvType(static_cast<uint32_t>(types), generation), refused)
            << os_type << ' ' << generation << ' ' << types;
        EXPECT_EQ(of->session.CLIsValidOSDrvType(0, generation), 0);
    }
}

TEST(Install, PushesThePackagesInOrder) {
    struct Host : CannedHost {
        explicit Host(uint32_t refused) : CannedHost(zmsim::Reply{.status = refused, .data = {}}) {}
        void FileArrived(const zmsim::ReceivedFile& file) override { files.push_back(file); }
        std::vector<zmsim::ReceivedFile> files;
    };
    const std::string folder =
        ::testing::TempDir() + "zwmgmt-install-" + std::to_string(OwnProcessId());
    std::filesystem::create_directory(folder);
    const std::string toe = "kxgb3path=" + folder + "/kxgb3toe-1.gz";
    const std::string ofed = "ofedpath=" + folder + "/OFED-2";
    const std::string gone = "zwirepath=" + folder + "/KorvaneZwire-gone";
    std::ofstream(folder + "/kxgb3toe-1.gz") << std::string(20'000, 'x');
    std::ofstream(folder + "/OFED-2") << "y";
    const std::string toe_sent =
        "Sending File kxgb3toe-1.gz of size 20000 to the ZM agent...\n"
        "Completion Progress % (50%) .... \rCompletion Progress % (100%) .... \r\n";
    const std::string ofed_sent =
        "Sending File OFED-2 of size 1 to the ZM agent...\nCompletion Progress % (100%) .... \r\n";
    const std::string announced = "Sending File kxgb3toe-1.gz of size 20000 to the ZM agent...\n";
    // What the agent refuses files and chunks with; words, result, status, printed, files taken.
    // clang-format off
    const Table<uint32_t, uint32_t, std::vector<const char*>, int, uint32_t, std::string, size_t> rows = {
        {0, 0, {"type=nic,ofed", toe.c_str(), ofed.c_str(), "ofedpkg=HPC"}, 0, 0, toe_sent + ofed_sent + "Command completed successfully.\n", 2},
        {0, 0, {"type=nic", toe.c_str(), "conftype=3", "conftype=5"}, 0, 0, toe_sent + "Command completed successfully.\n", 1},
        {0, 0, {"type=nic", toe.c_str()}, 0, 0, toe_sent + "Command completed successfully.\n", 1},
        {75, 0, {"type=nic,ofed", toe.c_str(), ofed.c_str(), "ofedpkg=HPC"}, 0, 75, announced + "Pre-Requisites for installating driver failed\n", 0},
        {99, 0, {"type=nic", toe.c_str()}, 0, 99, announced + "Command Failed\n", 0},
        {0, 1, {"type=nic", toe.c_str()}, 0, 70, announced + "Completion Progress % (50%) .... \r\nCommand Failed\n", 0},
        {0, 0, {"type=nic", gone.c_str(), toe.c_str()}, 1, 0, "cannot stat the file " + gone.substr(10) + "\n", 0},
        {0, 0, {"type=iscsi", toe.c_str()}, 1, 0, "Command Failed\n", 0},
        {0, 0, {"type=nic"}, 1, 0, "Driver path is not specified \n", 0},
    };
    // clang-format on
    for (const auto& [refuse, refuse_chunk, words, result, status, printed, taken] : rows) {
        Host host(0);
        zmsim::AgentOptions options;
        options.files.refuse_announcement = refuse;
        options.files.refuse_chunk = refuse_chunk;
        TestAgent agent(host, options);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        std::vector<const char*> line = {"system", "install"};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(session.Run(line), result) << printed;
        EXPECT_EQ(+session.message.status, status) << printed;
        EXPECT_EQ(session.Printed(), printed);
        EXPECT_TRUE(session.Connected());
        agent.Stop();
        ASSERT_EQ(host.files.size(), taken);
        if (taken == 2) {
            EXPECT_EQ(host.files[0].flags, 0x205u);
            EXPECT_EQ(host.files[0].extra, "HPC");
            EXPECT_EQ(host.files[1].name, "OFED-2");
        } else if (taken == 1) {
            EXPECT_EQ(host.files[0].flags, 0x1u);
            EXPECT_EQ(host.files[0].extra, words.size() == 4 ? "\x05" : "");
        }
    }
    std::filesystem::remove_all(folder);
}

TEST(Install, ALostConnectionIsSaid) {
    const TemporaryFile package("x");
    const std::string driver = package.Path() + "-vqiscsi";
    std::filesystem::copy_file(package.Path(), driver);
    RawAgent agent([](SSL* ssl) {
        AcceptOpening(ssl);
        ReadFrom(ssl, 26);  // of the announcement
    });
    TestSession session;
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    EXPECT_NE(session.Run({"system", "install", "type=iscsi", ("iscsipath=" + driver).c_str()}), 0);
    EXPECT_NE(session.Printed().find("\nError "), std::string::npos);
    EXPECT_FALSE(session.Connected());
    std::filesystem::remove(driver);
}

TEST(Drivers, StateIsKept) {
    zmsim::ScenarioHost host(BuiltinScenario("linux"));
    TestAgent agent(host);
    TestSession session;
    ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
    const auto say = [&](std::vector<const char*> words) {
        words.insert(words.begin(), "system");
        EXPECT_EQ(session.Run(words), 0);
        return session.Printed();
    };
    const char* in_use =
        "Error: Unload failed, as the driver is in use by other running modules.\n";
    // clang-format off
    const Table<const char*, const char*, const char*> rows = {
        {"loaddriver", "drvname=kxgb4", "Driver is already Loaded\n"}, {"loaddriver", "drvname=x4_tom", "Successful\n"},
        {"unloaddriver", "drvname=kxgb4", in_use}, {"unloaddriver", "drvname=x4_tom", "Successful\n"},
        {"reloaddriver", "drvname=x4_tom", "Error: Driver Reload failed. Specified driver is not loaded in agent\n"},
        {"reloaddriver", "drvname=kxgb4", "Successful\n"}, {"unloaddriver", "drvname=kxgb4", "Successful\n"},
        {"loaddriver", "drvname=nothing", "Cannot load the Driver \n"},
    };
    // clang-format on
    for (const auto& [command, name, printed] : rows) EXPECT_EQ(say({command, name}), printed);
    EXPECT_NE(say({"listdrivers"}).find("2026-05-19\nDriver Loaded      : No\n"),
              std::string::npos);

    EXPECT_EQ(say({"getinstallresult"}), "Command Failed\n");
    host.FileArrived({.name = "newdriver-1.0.gz", .size = 1, .flags = 1, .args = {}, .extra = ""});
    EXPECT_EQ(say({"getinstallresult"}), "newdriver-1.0.gz: installed\n");
    EXPECT_EQ(session.LastStatus(), kSuccess);
    EXPECT_EQ(say({"loaddriver", "drvname=newdriver"}), "Successful\n");
}
