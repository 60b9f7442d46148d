/// Printers of adapters, counters and drivers. Which lines an agent's OS and an adapter's chip call
/// for is in the block tables; the lines themselves are in the field tables.
#include <span>

#include "adapters/results.h"
#include "commands/chips.h"
#include "output/layout.h"
#include "records/card.h"
#include "records/counter.h"
#include "records/driver.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

/// A row: a field and its line.
#define CARD(name, ...) MakeLine(FieldNamed(kCardFields, name), __VA_ARGS__)

// clang-format off
constexpr Line kCommonLines[] = {
    CARD("vendor_id", "Vendor ID                     : 0x%x\n"),
    CARD("device_id", "Device ID                     : 0x%x\n"),
    CARD("port_count", "Port Count                    : %d\n"),
    CARD("driver_firmware_version", "Driver Firmware Version       : %s\n"),
    CARD("pci_bus_location", "PCI Bus Location              : %s\n"),
    CARD("chip_type", nullptr),
};

constexpr Line kDescriptionLine[] = {
    CARD("description", "Description                   : %s\n"),
};

constexpr Line kWindowsX3Lines[] = {
    CARD("chimney_enabled", "Chimney Enabled               : %s\n", Switch("NO", "YES")),
    CARD("update_mode", "Adapter Update Mode           : %s\n", Switch("Disabled", "Enabled")),
    CARD("qsfl_jumbo_q_size", "qsflJumboQSize                : %s\n"),
    CARD("qsfl_reg_q_size", "qsflregQSize                  : %s\n"),
    CARD("qs_toe_ctrl_q_size", "qsToeCtrlQSize                : %s\n"),
    CARD("qs_toe_q_size", "qsToeQSize                    : %s\n"),
    CARD("qs_tun_q_size", "qsTunQSize                    : %s\n\n"),
};

constexpr Line kWindowsX4Lines[] = {
    CARD("max_vm_queues", "MaxVMQueues\t\t      : %s\n"),
};

constexpr Line kNameLine[] = {
    CARD("card_name", "Card Name                     : %s\n"),
};

constexpr Line kClassLine[] = {
    CARD("device_class", "Device Class                  : 0x%x\n"),
};

constexpr Line kInterruptLine[] = {
    CARD("interrupt_request", "Interrupt Request             : 0x%x\n"),
};

constexpr Line kOffloadLines[] = {
    CARD("max_host_sndbuf", "max_host_sndbuf               : %lld\n"),
    CARD("tx_hold_thres", "tx_hold_thres                 : %lld\n"),
    CARD("max_wrs", "max_wrs                       : %d\n"),
    CARD("rx_credit_thres", "rx_credit_thres               : %lld\n"),
    CARD("failover_alg", "failover_alg                  : %d\n"),
    CARD("mss", "mss                           : %d\n"),
    CARD("delack", "delack                        : %d\n"),
    CARD("max_conn", "max_conn                      : %lld\n"),
    CARD("soft_backlog_limit", "soft_backlog_limit            : %d\n"),
    CARD("ddp", "ddp                           : %d\n"),
    CARD("kseg_ddp", "kseg_ddp                      : %lld\n"),
    CARD("ddp_thres", "ddp_thres                     : %lld\n"),
    CARD("recvmsg_spin_us", "recvmsg_spin_us               : %d\n"),
    CARD("ddp_push_wait", "ddp_push_wait                 : %lld\n"),
    CARD("ddp_rcvcoalesce", "ddp_rcvcoalesce               : %lld\n"),
    CARD("zcopy_sendmsg_partial_thres", "zcopy_sendmsg_partial_thres   : %lld\n"),
    CARD("zcopy_sendmsg_partial_copy", "zcopy_sendmsg_partial_copy    : %lld\n"),
    CARD("zcopy_sendmsg_thres", "zcopy_sendmsg_thres           : %lld\n"),
    CARD("zcopy_sendmsg_copy", "zcopy_sendmsg_copy            : %lld\n"),
    CARD("zcopy_sendmsg_ret_pending_dma", "zcopy_sendmsg_ret_pending_dma : %lld\n"),
    CARD("activated", "activated                     : %d\n"),
    CARD("cop_managed_offloading", "cop_managed_offloading        : %d\n"),
    CARD("tx_coalesce", "tx_coalesce                   : %d\n"),
};

constexpr Line kFreeBsdX4Lines[] = {
    LineOf(kOffloadLines, "max_host_sndbuf"),
    LineOf(kOffloadLines, "ddp"),
    LineOf(kOffloadLines, "ddp_thres"),
    CARD("ddp_indsz", "ddp_indsz                     : %lld\n"),
    LineOf(kOffloadLines, "activated"),
};

// clang-format on

#undef CARD

enum CardVariant : uint8_t { kEveryCard, kX3Card, kX4Card, kOtherCard };

uint8_t VariantOf(const void* record, uint8_t) {
    const std::string_view chip =
        FixedText(static_cast<const _CardInformation*>(record)->chip_type);
    if (IsOneOf(Chips::kX3, chip)) return kX3Card;
    return IsOneOf(Chips::kX4AndX5, chip) ? kX4Card : kOtherCard;
}

constexpr Block kCardBlocks[] = {
    {OsSet::Any(), kEveryCard, kCommonLines},
    {{kWindows}, kEveryCard, kDescriptionLine},
    {{kWindows}, kX3Card, kWindowsX3Lines},
    {{kWindows}, kX4Card, kWindowsX4Lines},
    {{kLinux, kXen, kFreeBsd, kSolaris, kEsx}, kEveryCard, kNameLine},
    {{kLinux, kXen, kSolaris, kEsx}, kEveryCard, kClassLine},
    {{kLinux, kXen, kEsx}, kEveryCard, kInterruptLine},
    {{kLinux, kXen}, kEveryCard, kOffloadLines},
    {{kFreeBsd}, kX4Card, kFreeBsdX4Lines},
};

/// A counter is one line of two fields.
struct CounterLine {
    Line name;
    Line value;
};

#define COUNTER(name, format) MakeLine(FieldNamed(kCounterFields, name), format)

constexpr CounterLine kCardCounter = {COUNTER("name", "%-20s"), COUNTER("value", ": %llu\n")};
constexpr CounterLine kPortCounter = {COUNTER("name", "%-25s"), COUNTER("value", " : %llu\n")};

#undef COUNTER

#define DRIVER(name, ...) MakeLine(FieldNamed(kDriverFields, name), __VA_ARGS__)

constexpr Line kDriverLines[] = {
    DRIVER("name", "Driver Name        : %s\n"),
    DRIVER("description", "Driver Description : %s\n"),
    DRIVER("version", "Driver Version     : %s\n", OrElse("Not Available")),
    DRIVER("date", "Driver Date        : %s\n", OrElse("Not Available")),
    DRIVER("loaded", "Driver Loaded      : %s\n\n", Switch("No", "Yes")),
};

#undef DRIVER

void Print(ZwMgmt_interface& session, const VqStat* counter, const CounterLine& line) {
    PrintLine(session, counter, line.name);
    PrintLine(session, counter, line.value);
}

/// Says why there are no counters; true when there are.
bool HasCounters(ZwMgmt_interface& session, const _Message& message) {
    if (message.status == kNoStatistics) {
        session.PrintOutput("No stats found/available for this card\n");
    } else if (message.status != kSuccess) {
        session.PrintOutput("Command failed\n");
    }
    return message.status == kSuccess;
}

constexpr const Field* kCardColumns[] = {FieldNamed(kCardFields, "pci_bus_location"),
                                         FieldNamed(kCardFields, "chip_type"),
                                         FieldNamed(kCardFields, "card_name"),
                                         FieldNamed(kCardFields, "port_count"),
                                         FieldNamed(kCardFields, "description"),
                                         FieldNamed(kCardFields, "driver_firmware_version")};
constexpr const Field* kDriverColumns[] = {
    FieldNamed(kDriverFields, "name"), FieldNamed(kDriverFields, "version"),
    FieldNamed(kDriverFields, "date"), FieldNamed(kDriverFields, "loaded"),
    FieldNamed(kDriverFields, "description")};

}  // namespace

const Description zwmgmt::kAdapters = {.name = "adapter",
                                       .shape = Description::kList,
                                       .size = offsetof(_CardInformation, next),
                                       .fields = kCardFields,
                                       .blocks = kCardBlocks,
                                       .variant_of = VariantOf,
                                       .columns = kCardColumns};
const Description zwmgmt::kCounters = {.name = "counter",
                                       .shape = Description::kList,
                                       .size = offsetof(VqStat, next),
                                       .fields = kCounterFields};
const Description zwmgmt::kDrivers = {.name = "driver",
                                      .shape = Description::kList,
                                      .size = offsetof(DriverInfo, next),
                                      .fields = kDriverFields,
                                      .columns = kDriverColumns};

void ZwMgmt_interface::GetKorvaneAdaptersResponse(const _CardInformation* cards,
                                                  _Message* message) {
    if (message->status != kSuccess) {
        PrintOutput("Command failed\n");
        return;
    }
    int number = 0;
    for (const _CardInformation* card = cards; card != nullptr; card = card->next) {
        PrintOutput("Adapter #                     : %d\n", number++);
        const uint8_t variant = VariantOf(card, OsType());
        for (const Block& block : kCardBlocks) {
            if (!block.IsFor(OsType(), variant)) continue;
            for (const Line& line : block.lines) PrintLine(*this, card, line);
        }
        PrintOutput("\n\n");
    }
}

void ZwMgmt_interface::GetCardStatsResponse(const VqStat* counters, _Message* message) {
    if (!HasCounters(*this, *message)) return;
    for (const int kind : {1, 2}) {
        for (const VqStat* counter = counters; counter != nullptr; counter = counter->next) {
            if (counter->kind == kind) Print(*this, counter, kCardCounter);
        }
    }
}

void ZwMgmt_interface::GetPortStatsResponse(const VqStat* counters, _Message* message) {
    if (!HasCounters(*this, *message)) return;
    for (const VqStat* counter = counters; counter != nullptr; counter = counter->next) {
        Print(*this, counter, kPortCounter);
    }
}

void ZwMgmt_interface::GetKorvaneDriverDetailsResponse(const DriverInfo* drivers,
                                                       _Message* message) {
    if (message->status != kSuccess) {
        PrintOutput("Command failed\n");
        return;
    }
    for (const DriverInfo* driver = drivers; driver != nullptr; driver = driver->next) {
        for (const Line& line : kDriverLines) PrintLine(*this, driver, line);
    }
}
