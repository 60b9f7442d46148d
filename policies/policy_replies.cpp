/// Printers of the offload policies.
#include "commands/outcomes.h"
#include "output/layout.h"
#include "policies/results.h"
#include "zwmgmt/policy.h"

using namespace zwmgmt;

namespace {

constexpr OutcomeRow kAddOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kOffloadNotLoaded, kAnyAgent,
     "Error: x3_tom not loaded. Cannot add offload policies...!\nCommand failed\n"},
    {kAnyOther, kAnyAgent, "Command failed\n"},
};

constexpr OutcomeRow kModifyOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kOffloadNotLoaded, kAnyAgent,
     "Error: x3_tom not loaded. Cannot modify offload policies...!\nCommand failed\n"},
    {kAnyOther, kAnyAgent, "Command failed\n"},
};

constexpr OutcomeRow kDeleteOutcomes[] = {
    {kSuccess, kAnyAgent, "Successful\n"},
    {kOffloadNotLoaded, kAnyAgent,
     "Error: x3_tom not loaded. Cannot delete offload policies...!\nCommand failed\n"},
    {kAnyOther, kAnyAgent, "Command failed\n"},
};

constexpr OutcomeRow kListOutcomes[] = {
    {kOffloadNotLoaded, kAnyAgent,
     "Error: x3_tom is not loaded. Cannot list offload policies...!\nCommand failed\n"},
    {kNoPolicies, kAnyAgent, "Error: There are no policies to list...!\nCommand failed\n"},
    {kAnyOther, kAnyAgent, "Command failed\n"},
};

constexpr Field kNameField = ZWMGMT_FIELD(_OfldPolicy, interface_name);
constexpr Field kIndexField = ZWMGMT_FIELD(_OfldPolicy, index);
constexpr Line kInterfaceName = MakeLine(&kNameField, "%-9s");
constexpr Line kIndex = MakeLine(&kIndexField, "%-5d");
constexpr size_t kNameColumns = 9;

void PrintPolicy(ZwMgmt_interface& session, const _OfldPolicy& policy) {
    PrintLine(session, &policy, kInterfaceName);
    if (FixedText(policy.interface_name).size() > kNameColumns) session.PrintOutput(" ");
    PrintLine(session, &policy, kIndex);
    std::string text;
    if (ParsePolicy::ParsePolicyStructure(policy, &text) != 0) text = "out of memory";
    session.PrintOutput("%s\n", text.c_str());
}

}  // namespace

void ZwMgmt_interface::GetAddPolicyResponse(_Message* message) {
    PrintOutcome(*this, kAddOutcomes, *message);
}

void ZwMgmt_interface::GetModifyPolicyResponse(_Message* message) {
    PrintOutcome(*this, kModifyOutcomes, *message);
}

void ZwMgmt_interface::GetDeletePolicyResponse(_Message* message) {
    PrintOutcome(*this, kDeleteOutcomes, *message);
}

void ZwMgmt_interface::GetListPolicyResponse(const void* policies, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutcome(*this, kListOutcomes, *message);
        return;
    }
    PrintOutput("Interface id   policy\n--------------------\n");
    const size_t count = policies != nullptr ? message->data_length / sizeof(_OfldPolicy) : 0;
    for (size_t i = 0; i < count; ++i) {
        _OfldPolicy policy;
        std::memcpy(&policy, static_cast<const _OfldPolicy*>(policies) + i, sizeof(policy));
        PrintPolicy(*this, policy);
    }
}
