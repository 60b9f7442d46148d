/// Which replies hold which records.
#include <algorithm>
#include <iterator>

#include "adapters/results.h"
#include "filters/results.h"
#include "net/results.h"
#include "services/results.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt {
namespace {

struct ReplyRow {
    uint16_t opcode;   // of the message
    uint16_t command;  // whose words ask for it
    const Description* records;
};

constexpr ReplyRow kReplies[] = {
    {kListAdapterProps, kListAdapterProps, &kAdapters},
    {kListPorts, kListPorts, &kPorts},
    {kGetCardStats, kGetCardStats, &kCounters},
    {kGetPortStats, kGetPortStats, &kCounters},
    {kListDrivers, kListDrivers, &kDrivers},
    {kGetCapabilities, kGetCapabilities, &kAgentCapabilities},
    {kGetInstallResult, kGetInstallResult, &kInstallOutcomes},
    {kGetInstallResult, kInstall, &kInstallOutcomes},
    {kListFiltersX3, kListFiltersX3, &kX3Rules},
    {kListFiltersX4, kListFiltersX4, &kX4Rules},
    {kGetMaxFilters, kMaxFilters, &kMaxFilterRules},
    {kShowCombinations, kShowCombinations, &kCombinationRows},
    {kShowActiveCombination, kShowActiveCombination, &kActiveCombinations},
    {kListX3Adapters, kListX3Adapters, &kX3Interfaces},
    {kListX4Adapters, kListX4Adapters, &kX4Locations},
    {kListPolicies, kListPolicies, &kPolicies},
    {kPingResult, kPing, &kPingOutcome},
    {kTraceRouteResult, kTraceRoute, &kHops},
};

const Description* Find(uint16_t ReplyRow::*number, uint16_t value) {
    const auto* row = std::ranges::find(kReplies, value, number);
    return row != std::end(kReplies) ? row->records : nullptr;
}

}  // namespace

const Description* FindDescription(uint16_t opcode) { return Find(&ReplyRow::opcode, opcode); }

const Description* FindDescriptionOf(uint16_t command) { return Find(&ReplyRow::command, command); }

}  // namespace zwmgmt
