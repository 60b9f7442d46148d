/// Printers of replies that are a status and nothing else.
#include "commands/outcomes.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

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
