#include "cli/command_keys.h"

#include <algorithm>

#include "adapters/properties.h"
#include "cli/keys.h"
#include "cli/vocabulary.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

constexpr OsSet kAny = OsSet::Any();

/// A key of a command whose family has no table of keys.
struct PlainRow {
    Command command;
    int key;
    const char* word;
    OsSet agents;
    const char* takes;
};

#define ROW(command, group, word, ...) \
    { command, group##Key(word), word, __VA_ARGS__ }

constexpr const char* kPci = "a PCI bus location of at most 16 characters";
constexpr const char* kPciX4 = "a PCI bus location of at most 32 characters";
constexpr const char* kName = "a name of at most 64 characters";
constexpr const char* kName63 = "a name of at most 63 characters";
constexpr const char* kInstance = "a number from 0";
constexpr const char* kFromOne = "a number from 1";
constexpr const char* kDriver = "the name of a driver";
constexpr const char* kAddress = "an address; before ipversion";
constexpr const char* kFamily = "ipv4 or ipv6";
constexpr const char* kHost = "a host name without dots, at most 64 characters";
constexpr const char* kDomain = "a domain name, at most 64 characters";
constexpr const char* kPolicy = "a rule, or @FILE";
constexpr OsSet kNotXen = {kWindows, kLinux, kSolaris, kFreeBsd, kEsx, kMac};

constexpr PlainRow kPlainRows[] = {
    ROW(kListPorts, Adapter, "pci", kAny, kPci),
    ROW(kGetCardStats, Adapter, "pci", kAny, kPci),
    ROW(kGetPortStats, Adapter, "pci", kAny, kPci),
    ROW(kGetPortStats, Adapter, "port", kAny, kInstance),
    ROW(kSetCardProperty, Adapter, "pci", kAny, kPci),
    ROW(kSetPortProperty, Adapter, "pci", kAny, kPci),
    ROW(kSetPortProperty, Adapter, "port", kAny, kInstance),
    ROW(kLoadDriver, System, "drvname", kAny, kDriver),
    ROW(kLoadDriver, System, "num_vf", {kXen}, "how many virtual functions"),
    ROW(kReloadDriver, System, "drvname", kAny, kDriver),
    ROW(kReloadDriver, System, "num_vf", {kXen}, "how many virtual functions"),
    ROW(kUnloadDriver, System, "drvname", kAny, kDriver),
    ROW(kDeleteFilterX3, Filter, "ifname", kAny, kName),
    ROW(kDeleteFilterX3, Filter, "id", kAny, kFromOne),
    ROW(kMaxFilters, Filter, "ifname", kAny, kName),
    ROW(kMaxFilters, Filter, "max", kAny, "1 to 1024; of set alone"),
    ROW(kDeleteFilterX4, Filter, "pci", kAny, kPciX4),
    ROW(kDeleteFilterX4, Filter, "id", kAny, kFromOne),
    ROW(kListFiltersX4, Filter, "pci", kAny, kPciX4),
    ROW(kListFiltersX4, Filter, "show", kAny, "all or active"),
    ROW(kSetCombination, Filter, "pci", kAny, kPciX4),
    ROW(kSetCombination, Filter, "comb", kAny, "a line of \"filter showcomb\""),
    ROW(kAddPolicy, Tm, "ifname", kAny, kName63),
    ROW(kAddPolicy, Tm, "policy", kAny, kPolicy),
    ROW(kAddPolicy, Tm, "id", kAny, "1 to 255"),
    ROW(kModifyPolicy, Tm, "ifname", kAny, kName63),
    ROW(kModifyPolicy, Tm, "id", kAny, "1 to 255"),
    ROW(kModifyPolicy, Tm, "policy", kAny, kPolicy),
    ROW(kDeletePolicy, Tm, "ifname", kAny, kName63),
    ROW(kDeletePolicy, Tm, "id", kAny, "1 to 255"),
    ROW(kPing, Networking, "ip", kAny, kAddress),
    ROW(kPing, Networking, "ipversion", kAny, kFamily),
    ROW(kPing, Networking, "host", kAny, kHost),
    ROW(kPing, Networking, "domain", kAny, kDomain),
    ROW(kPing, Networking, "numpkts", kAny, "1 to 255"),
    ROW(kPing, Networking, "timeout", kAny, "1 to 2147483 seconds"),
    ROW(kTraceRoute, Networking, "ip", kNotXen, kAddress),
    ROW(kTraceRoute, Networking, "ipversion", kNotXen, kFamily),
    ROW(kTraceRoute, Networking, "host", kNotXen, kHost),
    ROW(kTraceRoute, Networking, "domain", kNotXen, kDomain),
    ROW(kSetMtu, Networking, "ifname", kAny, kName),
    ROW(kSetMtu, Networking, "mtu", kAny, "1 to 655355 bytes"),
};

#undef ROW

const char* AdaptersOf(Chips chips) {
    switch (chips) {
        case Chips::kAny: return "";
        case Chips::kX3: return " (X3)";
        case Chips::kX4AndX5: return " (X4, X5)";
    }
    return "";
}

void AddProperties(std::span<const Property> properties, CommandKeys* keys) {
    for (const Property& property : properties) {
        // A word of two keys stands for the first of them in the search.
        if (ZwMgmt_interface::CLGetKeyNo(property.word, kKorvane) != property.key) continue;
        keys->push_back({property.word, property.key, property.heeded, TakenBy(property),
                         AdaptersOf(property.chips), property.bit});
    }
}

}  // namespace

CommandKeys KeysOfCommand(uint16_t command) {
    CommandKeys keys;
    for (const PlainRow& row : kPlainRows) {
        if (row.command == command) keys.push_back({row.word, row.key, row.agents, row.takes});
    }
    switch (command) {
        case kSetCardProperty: AddProperties(CardProperties(), &keys); break;
        case kSetPortProperty: AddProperties(PortProperties(), &keys); break;
        case kInstall: AddInstallKeys(&keys); break;
        case kAddFilterX3:
        case kModifyFilterX3: AddX3Keys(&keys); break;
        case kAddFilterX4:
        case kModifyFilterX4: AddX4Keys(&keys); break;
        default: break;
    }
    return keys;
}

std::string WordList(std::span<const std::string_view> words) {
    std::string text;
    for (const std::string_view word : words) {
        if (!text.empty()) text += ", ";
        text += word;
    }
    return text;
}

std::string RangeText(int64_t least, int64_t most) {
    const std::string first = std::to_string(least);
    if (most == least) return first;
    return first + (most == least + 1 ? " or " : " to ") + std::to_string(most);
}

}  // namespace zwmgmt
