#include "commands/command_keys.h"

#include <algorithm>
#include <utility>

#include "commands/routes.h"
#include "session/agent_names.h"

namespace zwmgmt {
namespace {

const char* AdaptersOf(Chips chips) {
    switch (chips) {
        case Chips::kAny: return "";
        case Chips::kX3: return " (X3)";
        case Chips::kX4AndX5: return " (X4, X5)";
    }
    return "";
}

std::string NeedOf(const RequestForm& form, const Argument& row) {
    const auto required = std::ranges::find(form.required, row.key, &Required::key);
    if (required == form.required.end()) return "";
    if (required->systems == OsSet::Any()) return " (required)";
    return " (required by " + NamesOf(required->systems) + " agents)";
}

void AddKeys(const RequestForm& form, std::span<const Argument> arguments, CommandKeys* keys) {
    for (const Argument& row : arguments) {
        // A word of two keys stands for the first of them in the search.
        if (ZwMgmt_interface::CLGetKeyNo(row.word, form.service) != row.key) continue;
        keys->push_back({row.word, row.key, row.heeded, TakenBy(row), AdaptersOf(row.chips),
                         NeedOf(form, row), row.bit});
    }
}

void AddKeysByAgent(const RequestForm& form, CommandKeys* keys) {
    for (const AgentName& agent : kAgentNames) {
        for (const Argument& row : form.arguments) {
            std::string takes = form.taken_by_agents(row, agent.os);
            if (takes.empty()) continue;
            keys->push_back(
                {row.word, row.key, {agent.os}, std::move(takes), "", NeedOf(form, row)});
        }
    }
}

}  // namespace

const RequestForm* FindRequestForm(uint16_t command) {
    for (const auto family : {InventoryForms, PropertyForms, DriverForms, InstallForms, FilterForms,
                              PolicyForms, NetForms}) {
        for (const RequestForm* form : family()) {
            if (form->command == command) return form;
        }
    }
    const Route* route = FindRoute(command);
    return route != nullptr ? route->form : nullptr;
}

CommandKeys KeysOfCommand(uint16_t command) {
    CommandKeys keys;
    if (const RequestForm* form = FindRequestForm(command)) {
        if (form->taken_by_agents != nullptr) {
            AddKeysByAgent(*form, &keys);
        } else {
            AddKeys(*form, form->arguments, &keys);
            AddKeys(*form, form->settings, &keys);
        }
    }
    const auto needed = [](const CommandKey& key) { return !key.need.empty(); };
    std::stable_partition(keys.begin(), keys.end(), needed);
    return keys;
}

}  // namespace zwmgmt
