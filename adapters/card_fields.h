/// The fields of an adapter record and their lines.
#pragma once

#include "cli/fields.h"
#include "zwmgmt/records/adapter.h"

namespace zwmgmt {

#define CARD_FIELD(member, ...) ZWMGMT_FIELD(_CardInformation, member, __VA_ARGS__)
#define CARD_SETTING(member, line) ZWMGMT_PART_FIELD(_CardInformation, settings, member, line)

// clang-format off
inline constexpr Field kCardFields[] = {
    CARD_FIELD(pci_bus_location,        "PCI Bus Location              : %s\n"),
    CARD_FIELD(vendor_id,               "Vendor ID                     : 0x%x\n"),
    CARD_FIELD(device_id,               "Device ID                     : 0x%x\n"),
    CARD_FIELD(port_count,              "Port Count                    : %d\n"),
    CARD_FIELD(driver_firmware_version, "Driver Firmware Version       : %s\n"),
    ZWMGMT_SILENT(_CardInformation, chip_type),
    CARD_FIELD(update_mode,             "Adapter Update Mode           : %s\n", Switch("Disabled", "Enabled")),
    CARD_FIELD(description,             "Description                   : %s\n"),
    CARD_FIELD(chimney_enabled,         "Chimney Enabled               : %s\n", Switch("NO", "YES")),
    CARD_FIELD(card_name,               "Card Name                     : %s\n"),
    CARD_FIELD(device_class,            "Device Class                  : 0x%x\n"),
    CARD_FIELD(interrupt_request,       "Interrupt Request             : 0x%x\n"),
    CARD_SETTING(qsfl_jumbo_q_size,       "qsflJumboQSize                : %s\n"),
    CARD_SETTING(qsfl_reg_q_size,         "qsflregQSize                  : %s\n"),
    CARD_SETTING(qs_toe_ctrl_q_size,      "qsToeCtrlQSize                : %s\n"),
    CARD_SETTING(qs_toe_q_size,           "qsToeQSize                    : %s\n"),
    CARD_SETTING(qs_tun_q_size,           "qsTunQSize                    : %s\n\n"),
    CARD_SETTING(max_vm_queues,           "MaxVMQueues\t\t      : %s\n"),
    CARD_SETTING(max_host_sndbuf,         "max_host_sndbuf               : %lld\n"),
    CARD_SETTING(tx_hold_thres,           "tx_hold_thres                 : %lld\n"),
    CARD_SETTING(max_wrs,                 "max_wrs                       : %d\n"),
    CARD_SETTING(rx_credit_thres,         "rx_credit_thres               : %lld\n"),
    CARD_SETTING(failover_alg,            "failover_alg                  : %d\n"),
    CARD_SETTING(mss,                     "mss                           : %d\n"),
    CARD_SETTING(delack,                  "delack                        : %d\n"),
    CARD_SETTING(max_conn,                "max_conn                      : %lld\n"),
    CARD_SETTING(soft_backlog_limit,      "soft_backlog_limit            : %d\n"),
    CARD_SETTING(ddp,                     "ddp                           : %d\n"),
    CARD_SETTING(kseg_ddp,                "kseg_ddp                      : %lld\n"),
    CARD_SETTING(ddp_thres,               "ddp_thres                     : %lld\n"),
    CARD_SETTING(ddp_push_wait,           "ddp_push_wait                 : %lld\n"),
    CARD_SETTING(ddp_rcvcoalesce,         "ddp_rcvcoalesce               : %lld\n"),
    CARD_SETTING(zcopy_sendmsg_partial_thres,   "zcopy_sendmsg_partial_thres   : %lld\n"),
    CARD_SETTING(zcopy_sendmsg_partial_copy,    "zcopy_sendmsg_partial_copy    : %lld\n"),
    CARD_SETTING(zcopy_sendmsg_thres,           "zcopy_sendmsg_thres           : %lld\n"),
    CARD_SETTING(zcopy_sendmsg_copy,            "zcopy_sendmsg_copy            : %lld\n"),
    CARD_SETTING(zcopy_sendmsg_ret_pending_dma, "zcopy_sendmsg_ret_pending_dma : %lld\n"),
    CARD_SETTING(activated,               "activated                     : %d\n"),
    CARD_SETTING(cop_managed_offloading,  "cop_managed_offloading        : %d\n"),
    CARD_SETTING(recvmsg_spin_us,         "recvmsg_spin_us               : %d\n"),
    CARD_SETTING(tx_coalesce,             "tx_coalesce                   : %d\n"),
    CARD_SETTING(tso,                     nullptr),
    CARD_SETTING(ddp_indsz,               "ddp_indsz                     : %lld\n"),
};
// clang-format on

#undef CARD_FIELD
#undef CARD_SETTING

/// The row of a card field, by the name of its member.
consteval const Field* CardField(std::string_view name) { return FieldNamed(kCardFields, name); }

}  // namespace zwmgmt
