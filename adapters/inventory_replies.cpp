/// Printers of adapters, counters and drivers. Which lines an agent's OS and an adapter's chip call
/// for is in the block tables; the lines themselves are in the field tables.
#include <algorithm>
#include <span>

#include "adapters/card_fields.h"
#include "adapters/chips.h"
#include "adapters/counter_and_driver_fields.h"
#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

using Lines = std::span<const Field* const>;

constexpr const Field* kCommonLines[] = {
    CardField("vendor_id"),        CardField("device_id"),
    CardField("port_count"),       CardField("driver_firmware_version"),
    CardField("pci_bus_location"),
};

constexpr const Field* kDescriptionLine[] = {CardField("description")};

constexpr const Field* kWindowsX3Lines[] = {
    CardField("chimney_enabled"), CardField("update_mode"),        CardField("qsfl_jumbo_q_size"),
    CardField("qsfl_reg_q_size"), CardField("qs_toe_ctrl_q_size"), CardField("qs_toe_q_size"),
    CardField("qs_tun_q_size"),
};

constexpr const Field* kWindowsX4Lines[] = {CardField("max_vm_queues")};

constexpr const Field* kNameLine[] = {CardField("card_name")};
constexpr const Field* kClassLine[] = {CardField("device_class")};
constexpr const Field* kInterruptLine[] = {CardField("interrupt_request")};

constexpr const Field* kOffloadLines[] = {
    CardField("max_host_sndbuf"),
    CardField("tx_hold_thres"),
    CardField("max_wrs"),
    CardField("rx_credit_thres"),
    CardField("failover_alg"),
    CardField("mss"),
    CardField("delack"),
    CardField("max_conn"),
    CardField("soft_backlog_limit"),
    CardField("ddp"),
    CardField("kseg_ddp"),
    CardField("ddp_thres"),
    CardField("recvmsg_spin_us"),
    CardField("ddp_push_wait"),
    CardField("ddp_rcvcoalesce"),
    CardField("zcopy_sendmsg_partial_thres"),
    CardField("zcopy_sendmsg_partial_copy"),
    CardField("zcopy_sendmsg_thres"),
    CardField("zcopy_sendmsg_copy"),
    CardField("zcopy_sendmsg_ret_pending_dma"),
    CardField("activated"),
    CardField("cop_managed_offloading"),
    CardField("tx_coalesce"),
};

constexpr const Field* kFreeBsdX4Lines[] = {
    CardField("max_host_sndbuf"), CardField("ddp"),       CardField("ddp_thres"),
    CardField("ddp_indsz"),       CardField("activated"),
};

/// Lines that are printed, in the order of the rows, where OS and chip agree.
struct CardBlock {
    OsSet systems;
    Chips chips;
    Lines lines;
};

constexpr CardBlock kCardBlocks[] = {
    {OsSet::Any(), Chips::kAny, kCommonLines},
    {{kWindows}, Chips::kAny, kDescriptionLine},
    {{kWindows}, Chips::kX3, kWindowsX3Lines},
    {{kWindows}, Chips::kX4AndX5, kWindowsX4Lines},
    {{kLinux, kXen, kFreeBsd, kSolaris, kEsx}, Chips::kAny, kNameLine},
    {{kLinux, kXen, kSolaris, kEsx}, Chips::kAny, kClassLine},
    {{kLinux, kXen, kEsx}, Chips::kAny, kInterruptLine},
    {{kLinux, kXen}, Chips::kAny, kOffloadLines},
    {{kFreeBsd}, Chips::kX4AndX5, kFreeBsdX4Lines},
};

/// A counter is one line of two fields.
struct CounterLine {
    Field name;
    Field value;
};

constexpr CounterLine kCardCounter = {ZWMGMT_FIELD(VqStat, name, "%-20s"),
                                      ZWMGMT_FIELD(VqStat, value, ": %llu\n")};
constexpr CounterLine kPortCounter = {ZWMGMT_FIELD(VqStat, name, "%-25s"),
                                      ZWMGMT_FIELD(VqStat, value, " : %llu\n")};

void Print(ZwMgmt_interface& session, const VqStat* counter, const CounterLine& line) {
    PrintField(session, counter, line.name);
    PrintField(session, counter, line.value);
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

}  // namespace

void ZwMgmt_interface::GetKorvaneAdaptersResponse(const _CardInformation* cards,
                                                  _Message* message) {
    if (message->status != kSuccess) {
        PrintOutput("Command failed\n");
        return;
    }
    int number = 0;
    for (const _CardInformation* card = cards; card != nullptr; card = card->next) {
        PrintOutput("Adapter #                     : %d\n", number++);
        const std::string_view chip_type = FixedText(card->chip_type);
        for (const CardBlock& block : kCardBlocks) {
            if (!block.systems.Has(os_type) || !IsOneOf(block.chips, chip_type)) continue;
            for (const Field* line : block.lines) PrintField(*this, card, *line);
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
        for (const Field& line : kDriverFields) PrintField(*this, driver, line);
    }
}

namespace {

/// The cards of one chip generation: one text, a name a line.
struct CardNames {
    const char* heading;
    const char* none;
};

constexpr CardNames kX3Names = {"\nX3 Interface names:\n------------------------\n",
                                "Error: No X3 Korvane Cards\n"};
constexpr CardNames kX4Names = {"\nCard PCI Bus Locations\n--------------------------------\n",
                                "Error: No X4/X5 Korvane Cards\n"};

constexpr size_t kLongestNames = 63;

void PrintNames(ZwMgmt_interface& session, const CardNames& cards, const void* data,
                const _Message& message) {
    if (message.status != kSuccess) {
        session.PrintOutput("Command failed\n");
        return;
    }
    const size_t length = data != nullptr ? message.data_length : 0;
    const std::string_view names = FixedText(data, std::min(length, kLongestNames));
    session.PrintOutput("%s", names.empty() ? cards.none : cards.heading);
    PrintLines(session, names);
}

}  // namespace

void ZwMgmt_interface::GetListX3Interfaces(const void* data, _Message* message) {
    PrintNames(*this, kX3Names, data, *message);
}

void ZwMgmt_interface::GetListX4Interfaces(const void* data, _Message* message) {
    PrintNames(*this, kX4Names, data, *message);
}
