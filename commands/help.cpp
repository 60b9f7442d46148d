#include "zwmgmt/help.h"

#include <algorithm>
#include <new>

#include "commands/command_keys.h"
#include "commands/offer.h"
#include "commands/routes.h"
#include "commands/vocabulary.h"
#include "session/agent_names.h"

namespace zwmgmt {
namespace {

/// What else there is to know of a command.
struct NoteRow {
    uint16_t command;
    const char* text;
};

constexpr NoteRow kNotes[] = {
    {kSetPortProperty,
     "\nNumbers are decimal, 0x hexadecimal or 0 octal, to Windows agents decimal; several keys "
     "go\n"
     "into one request. The MTU is set with mtu; of X4 and X5 ports on Windows agents with\n"
     "jumbopacket. The words mtu and vlan mean other keys to Windows agents: the MTU and the VLAN\n"
     "insertion of X3 ports cannot be set there.\n"},
    {kInstall,
     "\nType names are separated by commas. type=zm with zmpath updates the agent itself.\n"},
    {kAddFilterX4,
     "\nNumbers are decimal, 0x hexadecimal or 0 octal; without a mask all bits count.\n"},
};

void PrintAgents(FILE* stream, OsSet systems) {
    std::fputs("\n", stream);
    if (systems == OsSet::Any()) return;
    std::fprintf(stream, "%s agents:\n", NamesOf(systems).c_str());
}

/// The keys that the same agents take stand together.
void PrintKeys(FILE* stream, const CommandKeys& keys) {
    for (size_t first = 0; first < keys.size(); ++first) {
        const OsSet agents = keys[first].agents;
        const auto same = [&](const CommandKey& key) { return key.agents == agents; };
        if (std::any_of(keys.begin(), keys.begin() + static_cast<ptrdiff_t>(first), same)) continue;
        PrintAgents(stream, agents);
        for (const CommandKey& key : keys) {
            if (!same(key)) continue;
            std::fprintf(stream, "    %-22s %s%s%s\n", key.word, key.takes.c_str(), key.adapters,
                         key.need.c_str());
        }
    }
}

void PrintNotInThisVersion(FILE* stream, const std::vector<const char*>& words) {
    if (words.empty()) return;
    std::fprintf(stream, "not in this version: %s\n", Joined(words).c_str());
}

void PrintCommand(FILE* stream, const Route& route) {
    std::fprintf(stream, "%s %s%s%s\n    %s\n", ServiceWord(route.service),
                 CommandWord(route.service, route.command), route.keys[0] != '\0' ? " " : "",
                 route.keys, route.purpose);
}

bool Print(FILE* stream, const char* const* words, size_t count) {
    const int service = count > 0 ? ZwMgmt_interface::CLGetService(words[0]) : -1;
    if (count > 2 || (count > 0 && service == -1)) return false;
    const auto service_number = static_cast<uint8_t>(service);
    if (count == 2) {
        const int command = ZwMgmt_interface::CLGetCommand(words[1], service_number);
        const Route* route =
            command == -1 ? nullptr : FindRoute(service_number, static_cast<uint16_t>(command));
        if (route == nullptr) return false;
        PrintCommand(stream, *route);
        PrintKeys(stream, KeysOfCommand(route->command));
        for (const NoteRow& row : kNotes) {
            if (row.command == route->command) std::fputs(row.text, stream);
        }
        std::fprintf(stream, "\nExample: %s\n", route->example);
        return true;
    }
    bool any = false;
    for (const Route& route : Routes()) {
        if (count != 0 && route.service != service) continue;
        PrintCommand(stream, route);
        any = true;
    }
    if (!any) return false;
    const Offer offer = count == 0 ? OfferedServices() : OfferedCommands(service_number);
    PrintNotInThisVersion(stream, offer.not_sent);
    return true;
}

}  // namespace

bool PrintHelp(FILE* stream, const char* const* words, size_t count) noexcept {
    try {
        return Print(stream, words, count);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace zwmgmt
