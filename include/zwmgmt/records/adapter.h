/// One adapter of a managed host: a record of the reply to "korvane listadapterprops", and the
/// request that changes its settings.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// What an operator can set of an adapter: part of its record, and of the request that changes it.
/// "korvane_zwcli help korvane setcardproperty" tells which agents take what; a key is named where
/// it is not the member's name without underscores. Flags are 1 or 0.
struct CardSettings {
    /// Queue sizes of X3 adapters: entries, as decimal texts; Windows agents.
    char qsfl_jumbo_q_size[8];
    char qsfl_reg_q_size[8];
    char qs_toe_ctrl_q_size[8];
    char qs_toe_q_size[8];
    char qs_tun_q_size[8];

    char max_vm_queues[8];      ///< of X4 and X5 adapters: a decimal text; Windows agents
    int64_t max_host_sndbuf;    ///< bytes
    int64_t tx_hold_thres;      ///< as the driver counts
    int16_t max_wrs;            ///< keys maxwrs and, of its own mask bit, maxwrscredits
    int64_t rx_credit_thres;    ///< bytes
    int8_t failover_alg;        ///< key failover_alg: a number of the driver's
    uint32_t mss;               ///< bytes
    int8_t delack;              ///< a mode of the driver's
    int64_t max_conn;           ///< connections; -1: no limit
    int8_t soft_backlog_limit;  ///< a mode of the driver's
    int8_t ddp;                 ///< a mode of the driver's
    int64_t kseg_ddp;           ///< flag
    int64_t ddp_thres;          ///< bytes
    uint8_t reserved106[8];
    int64_t ddp_push_wait;                  ///< flag
    int64_t ddp_rcvcoalesce;                ///< flag
    int64_t zcopy_sendmsg_partial_thres;    ///< key zcopypartialthres: bytes
    int64_t zcopy_sendmsg_partial_copy;     ///< key zcopypartialcopy: bytes
    int64_t zcopy_sendmsg_thres;            ///< key zcopythres: bytes
    int64_t zcopy_sendmsg_copy;             ///< key zcopycopy: bytes
    int64_t zcopy_sendmsg_ret_pending_dma;  ///< key zcopypendingdma: flag
    int8_t activated;                       ///< a mode of the driver's
    int8_t cop_managed_offloading;          ///< key cop_managed_offloading: a mode of the driver's
    int8_t recvmsg_spin_us;                 ///< key recvmsg_spin_us: microseconds
    int8_t tx_coalesce;                     ///< 1 or 2
    int8_t tso;                             ///< Mac OS agents; in requests only
    int64_t ddp_indsz;                      ///< bytes; FreeBSD agents
    uint8_t reserved183[27];
};

/// Filled by the agent. Texts are NUL-padded and need not be terminated: read them with
/// zwmgmt::FixedText.
struct _CardInformation {
    char pci_bus_location[16];         ///< what pci= of other requests takes: "0000:05:00.4"
    uint32_t vendor_id;                ///< by PCI
    uint32_t device_id;                ///< by PCI
    uint16_t port_count;               ///< their instances are 0 and up
    char driver_firmware_version[25];  ///< both, as the driver words them
    char chip_type[3];                 ///< "X3", "X4" or "X5"
    char update_mode;                  ///< '1': enabled; Windows agents
    uint8_t reserved55;
    char description[96];        ///< Windows agents
    uint8_t chimney_enabled;     ///< flag; Windows agents
    char card_name[10];          ///< an interface: "eth4"; agents but those of Windows and Mac OS
    uint32_t device_class;       ///< by PCI; Linux, Solaris, ESX and Xen agents
    uint32_t interrupt_request;  ///< its number; Linux, ESX and Xen agents
    uint8_t reserved171[151];
    CardSettings settings;  ///< their present values
    uint8_t reserved532[16];
    _CardInformation* next;  ///< null in the last one
};

/// The request "korvane setcardproperty": the settings whose bit is in the mask get the values
/// given. What a bit means depends on agent OS and chip.
struct CardPropertyRequest {
    uint8_t os_type;            ///< the agent's: zwmgmt::AgentOs
    uint32_t set_mask;          ///< a bit for each setting that is to change
    char pci_bus_location[16];  ///< of the adapter; NUL-padded
    CardSettings settings;      ///< zero but for those of the mask
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
