/// Printers of replies that are a status and nothing else.
#include <span>

#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr OsSet kAnyAgent = OsSet::Any();

/// The text for a status; the first row that suits is printed.
struct OutcomeRow {
    uint32_t status;
    OsSet systems;
    const char* text;
};

/// The status of a row for whatever the rows before it do not name.
constexpr uint32_t kAnyOther = UINT32_MAX;

constexpr OutcomeRow kSetOutcomes[] = {
    {kSuccess, kAnyAgent, "Command completed successfully.\n"},
    {kAnyOther, kAnyAgent, "Command Failed\n"},
};

constexpr OutcomeRow kLoadOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kDriverLoaded, kAnyAgent, "Driver is already Loaded\n"},
    {kUnsupportedDriver,
     {kSolaris},
     "Error: Unsupported driver to load...! Supported drivers on solaris agent are kxgbe / kxge "
     "\n"},
    {kLoadFailed, kAnyAgent, "Error: Load driver operation failed\n"},
    {kAnyOther, kAnyAgent, "Cannot load the Driver \n"},
};

constexpr OutcomeRow kUnloadOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kDriverMaybeLoaded, kAnyAgent, "Driver Unload failed, the driver might not be loaded\n"},
    {kUnsupportedDriver,
     {kSolaris},
     "Error: Unsupported driver to unload...! .Supported drivers on solaris agent are kxgbe / kxge "
     "\n"},
    {kDriverNotLoaded, kAnyAgent,
     "Error: Unload driver operation failed. Given driver is not loaded on the agent\n"},
    {kUnloadFailed, kAnyAgent, "Error: Unload driver operation failed.\n"},
    {kDriverInUse, kAnyAgent,
     "Error: Unload failed, as the driver is in use by other running modules.\n"},
    {kAnyOther, kAnyAgent, "Cannot unload the Driver \n"},
};

constexpr OutcomeRow kReloadOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kDriverMaybeLoaded, kAnyAgent, "Driver Reload failed, the driver may not be loaded\n"},
    {kDriverNotLoaded, kAnyAgent,
     "Error: Driver Reload failed. Specified driver is not loaded in agent\n"},
    {kDriverLoaded, kAnyAgent, "Driver already loaded \n"},
    {kDriverInUse, kAnyAgent,
     "Error: Reload failed, as the driver is in use by other running modules.\n"},
    {kAnyOther, kAnyAgent, "Cannot reload the Driver \n"},
};

void PrintOutcome(ZwMgmt_interface& session, std::span<const OutcomeRow> rows,
                  const _Message& reply) {
    for (const OutcomeRow& row : rows) {
        const bool suits = row.status == reply.status || row.status == kAnyOther;
        if (!suits || !row.systems.Has(reply.os_type)) continue;
        session.PrintOutput("%s", row.text);
        return;
    }
}

}  // namespace

void ZwMgmt_interface::GetKorvaneCardSetResponse(_Message* message) {
    PrintOutcome(*this, kSetOutcomes, *message);
}

void ZwMgmt_interface::GetKorvanePortSetResponse(_Message* message) {
    PrintOutcome(*this, kSetOutcomes, *message);
}

void ZwMgmt_interface::GetKorvaneLoadDrvResponse(_Message* message) {
    PrintOutcome(*this, kLoadOutcomes, *message);
}

void ZwMgmt_interface::GetKorvaneReLoadDrvResponse(_Message* message) {
    PrintOutcome(*this, kReloadOutcomes, *message);
}

void ZwMgmt_interface::GetKorvaneUnLoadDrvResponse(_Message* message) {
    PrintOutcome(*this, kUnloadOutcomes, *message);
}
