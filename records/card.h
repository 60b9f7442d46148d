/// One adapter of a host.
#pragma once

#include "records/capabilities.h"
#include "records/field.h"
#include "zwmgmt/records/adapter.h"

namespace zwmgmt {

#define CARD(member, ...) ZWMGMT_FIELD(_CardInformation, member, __VA_ARGS__)
#define SETTING(member, ...) ZWMGMT_FIELD(CardSettings, member, __VA_ARGS__)

inline constexpr auto kCardSettingFields = std::to_array<Field>({
    SETTING(qsfl_jumbo_q_size, Decimal("entries")),
    SETTING(qsfl_reg_q_size, Decimal("entries")),
    SETTING(qs_toe_ctrl_q_size, Decimal("entries")),
    SETTING(qs_toe_q_size, Decimal("entries")),
    SETTING(qs_tun_q_size, Decimal("entries")),
    SETTING(max_vm_queues, Decimal()),
    SETTING(max_host_sndbuf, Plain("bytes")),
    SETTING(tx_hold_thres),
    SETTING(max_wrs),
    SETTING(rx_credit_thres, Plain("bytes")),
    SETTING(failover_alg),
    SETTING(mss, Plain("bytes")),
    SETTING(delack),
    SETTING(max_conn, Plain("connections")),
    SETTING(soft_backlog_limit),
    SETTING(ddp),
    SETTING(kseg_ddp),
    SETTING(ddp_thres, Plain("bytes")),
    SETTING(ddp_push_wait),
    SETTING(ddp_rcvcoalesce),
    SETTING(zcopy_sendmsg_partial_thres, Plain("bytes")),
    SETTING(zcopy_sendmsg_partial_copy, Plain("bytes")),
    SETTING(zcopy_sendmsg_thres, Plain("bytes")),
    SETTING(zcopy_sendmsg_copy, Plain("bytes")),
    SETTING(zcopy_sendmsg_ret_pending_dma),
    SETTING(activated),
    SETTING(cop_managed_offloading),
    SETTING(recvmsg_spin_us, Plain("microseconds")),
    SETTING(tx_coalesce),
    SETTING(tso),
    SETTING(ddp_indsz, Plain("bytes")),
});

inline constexpr auto kCardOwnFields = std::to_array<Field>({
    CARD(pci_bus_location),
    CARD(vendor_id),
    CARD(device_id),
    CARD(port_count),
    CARD(driver_firmware_version),
    CARD(chip_type),
    CARD(update_mode, kFlagSense),
    CARD(description),
    CARD(chimney_enabled, kFlagSense),
    CARD(card_name),
    CARD(device_class),
    CARD(interrupt_request),
});

inline constexpr auto kCardFields =
    WithPart(kCardOwnFields, offsetof(_CardInformation, settings), kCardSettingFields);

inline constexpr auto kCardRequestFields =
    WithPart(std::to_array<Field>({
                 ZWMGMT_FIELD(CardPropertyRequest, os_type, kOsSense),
                 ZWMGMT_FIELD(CardPropertyRequest, set_mask, kBitsSense),
                 ZWMGMT_FIELD(CardPropertyRequest, pci_bus_location),
             }),
             offsetof(CardPropertyRequest, settings), kCardSettingFields);

#undef CARD
#undef SETTING

}  // namespace zwmgmt
