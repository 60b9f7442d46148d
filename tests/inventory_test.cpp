/// The exact listings of adapters, per agent OS and chip.
#include <cstring>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

/// An adapter whose every field has a value of its own.
_CardInformation Card(const char* chip) {
    _CardInformation card = {};
    SetFixedText(card.pci_bus_location, "0000:05:00.4");
    card.vendor_id = 0x4b56;
    card.device_id = 0xFFFF4401;
    card.port_count = 65535;
    SetFixedText(card.driver_firmware_version, "D4.2 F1.27");
    SetFixedText(card.chip_type, chip);
    card.update_mode = '1';
    SetFixedText(card.description, "quad-port");
    SetFixedText(card.card_name, "eth4");
    card.device_class = 0x20000;
    card.interrupt_request = 0x2A;
    SetFixedText(card.qsfl_jumbo_q_size, "512");
    SetFixedText(card.qsfl_reg_q_size, "2048");
    SetFixedText(card.qs_toe_ctrl_q_size, "1024");
    SetFixedText(card.qs_toe_q_size, "256");
    SetFixedText(card.qs_tun_q_size, "64");
    SetFixedText(card.max_vm_queues, "32");
    card.max_host_sndbuf = 1'000'000'000'001;
    card.tx_hold_thres = 2;
    card.max_wrs = -3;
    card.rx_credit_thres = 4;
    card.failover_alg = -5;
    card.mss = 6;
    card.delack = 7;
    card.max_conn = -8;
    card.soft_backlog_limit = 9;
    card.ddp = 10;
    card.kseg_ddp = 11;
    card.ddp_thres = 12;
    card.ddp_push_wait = 13;
    card.ddp_rcvcoalesce = 14;
    card.zcopy_sendmsg_partial_thres = 15;
    card.zcopy_sendmsg_partial_copy = 16;
    card.zcopy_sendmsg_thres = 17;
    card.zcopy_sendmsg_copy = 18;
    card.zcopy_sendmsg_ret_pending_dma = 19;
    card.activated = 20;
    card.cop_managed_offloading = 21;
    card.recvmsg_spin_us = -22;
    card.tx_coalesce = 23;
    card.ddp_indsz = 24;
    return card;
}

const std::string kCommon =
    "Vendor ID                     : 0x4b56\n"
    "Device ID                     : 0xffff4401\n"
    "Port Count                    : 65535\n"
    "Driver Firmware Version       : D4.2 F1.27\n"
    "PCI Bus Location              : 0000:05:00.4\n";
const std::string kDescription = "Description                   : quad-port\n";
const std::string kX3Queues =
    "Chimney Enabled               : NO\n"
    "Adapter Update Mode           : Enabled\n"
    "qsflJumboQSize                : 512\n"
    "qsflregQSize                  : 2048\n"
    "qsToeCtrlQSize                : 1024\n"
    "qsToeQSize                    : 256\n"
    "qsTunQSize                    : 64\n\n";
const std::string kVmQueues = "MaxVMQueues\t\t      : 32\n";
const std::string kName = "Card Name                     : eth4\n";
const std::string kClass = "Device Class                  : 0x20000\n";
const std::string kInterrupt = "Interrupt Request             : 0x2a\n";
const std::string kOffload =
    "max_host_sndbuf               : 1000000000001\n"
    "tx_hold_thres                 : 2\n"
    "max_wrs                       : -3\n"
    "rx_credit_thres               : 4\n"
    "failover_alg                  : -5\n"
    "mss                           : 6\n"
    "delack                        : 7\n"
    "max_conn                      : -8\n"
    "soft_backlog_limit            : 9\n"
    "ddp                           : 10\n"
    "kseg_ddp                      : 11\n"
    "ddp_thres                     : 12\n"
    "recvmsg_spin_us               : -22\n"
    "ddp_push_wait                 : 13\n"
    "ddp_rcvcoalesce               : 14\n"
    "zcopy_sendmsg_partial_thres   : 15\n"
    "zcopy_sendmsg_partial_copy    : 16\n"
    "zcopy_sendmsg_thres           : 17\n"
    "zcopy_sendmsg_copy            : 18\n"
    "zcopy_sendmsg_ret_pending_dma : 19\n"
    "activated                     : 20\n"
    "cop_managed_offloading        : 21\n"
    "tx_coalesce                   : 23\n";
const std::string kFreeBsdBlock =
    "max_host_sndbuf               : 1000000000001\n"
    "ddp                           : 10\n"
    "ddp_thres                     : 12\n"
    "ddp_indsz                     : 24\n"
    "activated                     : 20\n";

std::string Listing(uint8_t os, const std::vector<_CardInformation>& cards) {
    Bytes data;
    for (const _CardInformation& card : cards) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&card);
        data.insert(data.end(), bytes, bytes + 548);
    }
    CannedHost host(zmsim::Reply{.status = 0, .data = data});
    host.os = os;
    TestAgent agent(host);
    TestSession session;
    EXPECT_EQ(session.Connect(agent.Port()), kSuccess);
    EXPECT_EQ(session.Run({"korvane", "listadapterprops"}), 0);
    return session.Printed();
}

}  // namespace

TEST(ListAdapterProps, LinesFollowOsAndChip) {
    // clang-format off
    const Table<uint8_t, const char*, std::string> rows = {
        {1, "X3", kDescription + kX3Queues}, {1, "X4", kDescription + kVmQueues},
        {1, "X5", kDescription + kVmQueues}, {1, "X6", kDescription},
        {2, "X3", kName + kClass + kInterrupt + kOffload},
        {2, "X5", kName + kClass + kInterrupt + kOffload},
        {8, "X4", kName + kClass + kInterrupt + kOffload}, {3, "X4", kName + kClass},
        {4, "X3", kName}, {4, "X4", kName + kFreeBsdBlock}, {4, "X5", kName + kFreeBsdBlock},
        {5, "X3", kName + kClass + kInterrupt}, {6, "X4", ""}, {7, "X4", ""}, {200, "X4", ""},
    };
    // clang-format on
    for (const auto& [os, chip, lines] : rows) {
        EXPECT_EQ(Listing(os, {Card(chip)}),
                  "Adapter #                     : 0\n" + kCommon + lines + "\n\n")
            << int{os} << " " << chip;
    }
}

TEST(ListAdapterProps, NumbersTheAdaptersFromZero) {
    EXPECT_EQ(Listing(6, {Card("X3"), Card("X4"), Card("X5")}),
              "Adapter #                     : 0\n" + kCommon + "\n\n" +
                  "Adapter #                     : 1\n" + kCommon + "\n\n" +
                  "Adapter #                     : 2\n" + kCommon + "\n\n");
    EXPECT_EQ(Listing(6, {}), "");
}

TEST(ListAdapterProps, TextsWithoutTerminatorEndWithTheirField) {
    _CardInformation card = Card("X3");
    std::memset(card.driver_firmware_version, 'v', sizeof(card.driver_firmware_version));
    std::memset(card.description, 'd', sizeof(card.description));
    std::memset(card.qs_tun_q_size, '9', sizeof(card.qs_tun_q_size));
    card.update_mode = '0';
    card.chimney_enabled = 2;
    const std::string listing = Listing(1, {card});
    for (const std::string& line :
         {"Driver Firmware Version       : " + std::string(25, 'v') + "\n",
          "Description                   : " + std::string(96, 'd') + "\n",
          "qsTunQSize                    : " + std::string(8, '9') + "\n\n",
          std::string("Adapter Update Mode           : Disabled\n"),
          std::string("Chimney Enabled               : YES\n")}) {
        EXPECT_NE(listing.find(line), std::string::npos) << line;
    }
    // Three bytes without a terminator are no chip that this client knows.
    std::memcpy(card.chip_type, "X3X", 3);
    EXPECT_EQ(Listing(1, {card}).find("qsTunQSize"), std::string::npos);
}
