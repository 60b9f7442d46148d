/// One adapter of a managed host: a record of the reply to "korvane listadapterprops", and the
/// request that changes its settings.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// What an operator can set of an adapter: part of its record, and of the request that changes it.
struct CardSettings {
    char qsfl_jumbo_q_size[8];  ///< queue sizes: entries, as decimal texts
    char qsfl_reg_q_size[8];
    char qs_toe_ctrl_q_size[8];
    char qs_toe_q_size[8];
    char qs_tun_q_size[8];
    char max_vm_queues[8];
    int64_t max_host_sndbuf;  ///< bytes
    int64_t tx_hold_thres;
    int16_t max_wrs;
    int64_t rx_credit_thres;  ///< bytes
    int8_t failover_alg;
    uint32_t mss;  ///< bytes
    int8_t delack;
    int64_t max_conn;  ///< connections; -1: no limit
    int8_t soft_backlog_limit;
    int8_t ddp;
    int64_t kseg_ddp;
    int64_t ddp_thres;  ///< bytes
    uint8_t reserved106[8];
    int64_t ddp_push_wait;
    int64_t ddp_rcvcoalesce;
    int64_t zcopy_sendmsg_partial_thres;  ///< bytes
    int64_t zcopy_sendmsg_partial_copy;   ///< bytes
    int64_t zcopy_sendmsg_thres;          ///< bytes
    int64_t zcopy_sendmsg_copy;           ///< bytes
    int64_t zcopy_sendmsg_ret_pending_dma;
    int8_t activated;
    int8_t cop_managed_offloading;
    int8_t recvmsg_spin_us;  ///< microseconds
    int8_t tx_coalesce;
    int8_t tso;
    int64_t ddp_indsz;  ///< bytes
    uint8_t reserved183[27];
};

/// Filled by the agent. Texts are NUL-padded and need not be terminated: read them with
/// zwmgmt::FixedText.
struct _CardInformation {
    char pci_bus_location[16];
    uint32_t vendor_id;
    uint32_t device_id;
    uint16_t port_count;
    char driver_firmware_version[25];
    char chip_type[3];  ///< "X3", "X4" or "X5"
    char update_mode;   ///< '1': enabled
    uint8_t reserved55;
    char description[96];
    uint8_t chimney_enabled;
    char card_name[10];
    uint32_t device_class;
    uint32_t interrupt_request;
    uint8_t reserved171[151];
    CardSettings settings;
    uint8_t reserved532[16];
    _CardInformation* next;  ///< null in the last one
};

/// The request "korvane setcardproperty": the settings whose bit is in the mask get the values
/// given. What a bit means depends on agent OS and chip.
struct CardPropertyRequest {
    uint8_t os_type;  ///< zwmgmt::AgentOs
    uint32_t set_mask;
    char pci_bus_location[16];
    CardSettings settings;
};

#pragma pack(pop)

static_assert(sizeof(CardSettings) == 210 && offsetof(CardSettings, max_host_sndbuf) == 48 &&
              offsetof(CardSettings, max_conn) == 80 &&
              offsetof(CardSettings, ddp_push_wait) == 114 &&
              offsetof(CardSettings, activated) == 170 && offsetof(CardSettings, ddp_indsz) == 175);
static_assert(sizeof(_CardInformation) == 556 && offsetof(_CardInformation, next) == 548);
static_assert(offsetof(_CardInformation, vendor_id) == 16 &&
              offsetof(_CardInformation, chip_type) == 51 &&
              offsetof(_CardInformation, update_mode) == 54 &&
              offsetof(_CardInformation, description) == 56 &&
              offsetof(_CardInformation, card_name) == 153 &&
              offsetof(_CardInformation, interrupt_request) == 167 &&
              offsetof(_CardInformation, settings) == 322);
static_assert(sizeof(CardPropertyRequest) == 231 && offsetof(CardPropertyRequest, set_mask) == 1 &&
              offsetof(CardPropertyRequest, settings) == 21);
