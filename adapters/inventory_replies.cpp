/// Printers of the adapter inventory. Which lines an agent's OS and an adapter's chip call for is
/// in the block tables; the lines themselves are in the field tables.
#include <span>

#include "adapters/card_fields.h"
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

enum class Chips { kAny, kX3, kX4AndX5 };

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

bool IsOneOf(Chips chips, std::string_view chip_type) {
    switch (chips) {
        case Chips::kAny: return true;
        case Chips::kX3: return chip_type == "X3";
        case Chips::kX4AndX5: return chip_type == "X4" || chip_type == "X5";
    }
    return false;
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
