#include "front_end/own_commands.h"

#include <algorithm>
#include <sstream>

#include "commands/texts.h"
#include "front_end/agents.h"
#include "front_end/help.h"
#include "front_end/hosts.h"
#include "front_end/policy.h"

namespace zwcli {
namespace {

constexpr OwnCommand kOwnCommands[] = {
    {"help", "help [SERVICE [COMMAND]]\n    lists commands and their keys, without an agent\n",
     HelpCommand},
    {"agents",
     "agents list | agents add|remove|scan HOST[:PORT] ... | agents add HOST[:PORT] SHA256:...\n"
     "    the agents whose keys are known: shows them, keeps the key that an agent shows or the "
     "one "
     "given, forgets it, or only looks\n",
     AgentsCommand},
    {"hosts",
     "hosts EXPRESSION ... | hosts fold EXPRESSION ...\n"
     "    shows the hosts that sets such as node[1-9,12]!node7 or @FILE mean, one a line, or "
     "folded "
     "into\n    one set\n",
     HostsCommand},
    {"policy",
     "policy check FILE [src=ADDRESS] [dst=ADDRESS] [sport=N] [dport=N] [vlan=N] [tos=N] [vers=N] "
     "[mark=N] [open=listen|aopen|popen]\n"
     "    compiles a policy file and shows what it does, without an agent; with keys or "
     "--connections,\n    which rule decides\n"
     "policy explain FILE\n"
     "    tells which rules of a policy file never decide, and which overlap\n"
     "policy diff FILE OTHER\n"
     "    tells whether two policy files decide alike\n"
     "policy fmt FILE\n"
     "    prints a policy file in one style\n",
     PolicyCommand},
};

}  // namespace

std::span<const OwnCommand> OwnCommands() { return kOwnCommands; }

const OwnCommand* FindOwnCommand(const std::string& word) {
    const auto* row = std::ranges::find_if(kOwnCommands, [&](const OwnCommand& each) {
        return zwmgmt::SameIgnoringCase(word, each.word);
    });
    return row != std::end(kOwnCommands) ? row : nullptr;
}

std::vector<std::string> Usages() {
    std::vector<std::string> usages;
    for (const OwnCommand& row : kOwnCommands) {
        std::istringstream help(row.help);
        for (std::string line; std::getline(help, line);) {
            if (!line.starts_with(' ')) usages.push_back(line);
        }
    }
    return usages;
}

std::string UsageOf(const std::string& words) {
    std::string usage;
    for (const std::string& line : Usages()) {
        if (line.starts_with(words + " ")) usage += (usage.empty() ? "" : "\n") + line;
    }
    return usage;
}

}  // namespace zwcli
