#include "zwmgmt/help.h"

#include "adapters/install_options.h"
#include "adapters/properties.h"
#include "cli/routes.h"
#include "cli/vocabulary.h"
#include "filters/x4_rules.h"
#include "session/agent_names.h"

namespace zwmgmt {
namespace {

/// What else there is to know of a command.
struct MoreRow {
    uint16_t command;
    std::span<const Property> (*properties)();  // that it sets
    std::span<const char* const> (*types)();    // that TYPE can be
    void (*keys)(FILE* stream);                 // that it takes
    const char* note;
};

constexpr MoreRow kMore[] = {
    {kSetCardProperty, &CardProperties, nullptr, nullptr, ""},
    {kSetPortProperty, &PortProperties, nullptr, nullptr,
     "\nThe MTU is set with mtu=BYTES; of X4 and X5 ports on Windows agents with "
     "jumbopacket=BYTES.\n"
     "The words mtu and vlan mean other keys to Windows agents: the MTU and the VLAN insertion of "
     "X3\n"
     "ports cannot be set there.\n"},
    {kInstall, nullptr, &DriverTypeNames, nullptr,
     "\nPACKAGE: kxgb3path and kxgb4path (drivers), iscsipath, ofedpath (followed by "
     "ofedpkg=basic, hpc,\n"
     "all or FILE.conf); on Linux agents also zwirepath and zmpath, on Windows agents "
     "installshieldpath\n"
     "(instead of the driver paths) and zmpath. type=zm with zmpath updates the agent itself.\n"},
    {kAddFilterX4, nullptr, nullptr, &PrintX4Keys, ""},
    {kModifyFilterX4, nullptr, nullptr, &PrintX4Keys, ""},
};

const char* ValuesOf(const Property& property) {
    switch (property.form) {
        case Form::kFlag: return "0, 1, ...";
        case Form::kText:
        case Form::kNumber:
        case Form::kLowByte:
        case Form::kLow16:
        case Form::kNumberText: return "a number";
        case Form::kNothing: return "";
        case Form::kSpeedDuplex: return "auto, or Mb/s and duplex: 1000-Full";
        case Form::kAdvertise: return "link modes: 100baseT/Full|1000baseT/Full, or auto";
    }
    return "";
}

const char* AdaptersOf(Chips chips) {
    switch (chips) {
        case Chips::kAny: return "";
        case Chips::kX3: return " (X3)";
        case Chips::kX4AndX5: return " (X4, X5)";
    }
    return "";
}

void PrintValues(FILE* stream, const Property& property) {
    const auto least = static_cast<long long>(property.rule.least);
    const auto most = static_cast<long long>(property.rule.most);
    if (property.rule.message == nullptr) {
        std::fputs(ValuesOf(property), stream);
    } else if (least == most) {
        std::fprintf(stream, "%lld", least);
    } else {
        std::fprintf(stream, "%lld to %lld", least, most);
    }
}

void PrintAgents(FILE* stream, OsSet systems) {
    const char* separator = "";
    for (const AgentName& agent : kAgentNames) {
        if (!systems.Has(agent.os)) continue;
        std::fprintf(stream, "%s%s", separator, agent.name);
        separator = ", ";
    }
    std::fputs(" agents:\n", stream);
}

void PrintProperties(FILE* stream, std::span<const Property> properties) {
    const Property* last = nullptr;
    for (const Property& property : properties) {
        // A word of two keys stands for the first of them in the search.
        if (ZwMgmt_interface::CLGetKeyNo(property.word, kKorvane) != property.key) continue;
        if (last == nullptr || !(last->systems == property.systems)) {
            std::fputs("\n", stream);
            PrintAgents(stream, property.systems);
        }
        last = &property;
        std::fprintf(stream, "    %-23s ", property.word);
        PrintValues(stream, property);
        std::fprintf(stream, "%s\n", AdaptersOf(property.chips));
    }
}

void PrintTypes(FILE* stream, std::span<const char* const> types) {
    std::fputs("\nTYPE:", stream);
    for (const char* type : types) {
        if (type[0] != '\0') std::fprintf(stream, " %s", type);
    }
    std::fputs("\n", stream);
}

void PrintCommand(FILE* stream, const Route& route) {
    std::fprintf(stream, "%s %s%s%s\n    %s\n", ServiceWord(route.service),
                 CommandWord(route.service, route.command), route.keys[0] != '\0' ? " " : "",
                 route.keys, route.purpose);
}

}  // namespace

bool PrintHelp(FILE* stream, const char* const* words, size_t count) noexcept {
    const int service = count > 0 ? ZwMgmt_interface::CLGetService(words[0]) : -1;
    if (count > 2 || (count > 0 && service == -1)) return false;
    if (count == 2) {
        const int command = ZwMgmt_interface::CLGetCommand(words[1], static_cast<uint8_t>(service));
        const Route* route = command == -1 ? nullptr
                                           : FindRoute(static_cast<uint8_t>(service),
                                                       static_cast<uint16_t>(command));
        if (route == nullptr) return false;
        PrintCommand(stream, *route);
        for (const MoreRow& row : kMore) {
            if (row.command != route->command) continue;
            if (row.properties != nullptr) PrintProperties(stream, row.properties());
            if (row.types != nullptr) PrintTypes(stream, row.types());
            if (row.keys != nullptr) row.keys(stream);
            std::fputs(row.note, stream);
        }
        return true;
    }
    bool any = false;
    for (const Route& route : Routes()) {
        if (count != 0 && route.service != service) continue;
        PrintCommand(stream, route);
        any = true;
    }
    return any;
}

}  // namespace zwmgmt
