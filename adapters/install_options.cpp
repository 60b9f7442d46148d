/// The options of "system install": driver types, packages and what must be true of both. The keys
/// are judged one after the other, so a package is judged by the types given before it.
#include "adapters/install_options.h"

#include <algorithm>

#include "cli/command_keys.h"
#include "cli/handler.h"
#include "cli/keys.h"
#include "cli/numbers.h"
#include "cli/vocabulary.h"
#include "session/agent_names.h"
#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

/// The names of the type mask's bits, from bit 0; "" for a bit without one.
constexpr const char* kTypeNames[] = {
    "nic",
    "vnic",
    "toe",
    "toe_ipv4",
    "team",
    "bonding",
    "iscsi",
    "iscsi_pdu_initiator",
    "iscsi_pdu_target",
    "ofed",
    "iwarp",
    "bypass",
    "nd",
    "vf",
    "ipv6",
    "fcoe_full_offload_initiator",
    "udp_offload",
    "wdtoe",
    "wdudp",
    "",
    "iwarp_wdudp_libs",
    "sniffer_filter",
    "sniffer_trace",
    "util_tools",
    "all",
};

/// The types of an update of the management agent itself, which "zm" asks for.
constexpr uint32_t kAgentUpdate = kTypeNic | kTypeVnic | kTypeToe;

/// The types that agents of an OS take for driver generations from `first` to `last`; the first row
/// that suits counts.
struct AllowedRow {
    AgentOs os;
    int first;
    int last;
    uint32_t types;
};

constexpr int kLowest = INT32_MIN;
constexpr int kHighest = INT32_MAX;

constexpr AllowedRow kAllowed[] = {
    {kWindows, 0, 1, 0x10094D7},
    {kWindows, kLowest, kHighest, 0x7},
    {kLinux, 0, 0, 0x257},
    {kLinux, 1, 2, 0x1F7EFAF},
    {kLinux, kLowest, kHighest, 0x7},
    {kSolaris, 0, 2, 0x1},
    {kEsx, 0, 2, 0x1},
    {kMac, 0, 2, 0x1},
    {kFreeBsd, 1, 2, 0x1000000},
    {kXen, 0, 2, 0x1000000},
};

constexpr int kTypeKey = SystemKey("type");
constexpr int kX3PathKey = SystemKey("kxgb3path");
constexpr int kX4PathKey = SystemKey("kxgb4path");
constexpr int kIscsiPathKey = SystemKey("iscsipath");
constexpr int kOfedPathKey = SystemKey("ofedpath");
constexpr int kOfedPackageKey = SystemKey("ofedpkg");
constexpr int kInstallShieldPathKey = SystemKey("installshieldpath");
constexpr int kZwirePathKey = SystemKey("zwirepath");
constexpr int kConfTypeKey = SystemKey("conftype");
constexpr int kAgentPathKey = SystemKey("zmpath");

constexpr OsSet kAnyAgent = OsSet::Any();

/// Packages that only some agents take.
struct OnlyRow {
    int key;
    OsSet systems;
    const char* otherwise;
};

constexpr OnlyRow kOnly[] = {
    {kInstallShieldPathKey, {kWindows}, "Installshieldpath is only for Windows\n"},
    {kZwirePathKey, {kLinux}, "zwire driver package is only for Linux\n"},
    {kAgentPathKey, {kWindows, kLinux}, "ZM update supported only on Windows and Linux\n"},
};

constexpr const OnlyRow& kOnlyAgentUpdates = kOnly[2];
static_assert(kOnlyAgentUpdates.key == kAgentPathKey);

/// What a package's path must be like. Every row of its key and OS must hold.
struct PathRow {
    int key;
    OsSet systems;
    enum Test {
        kHas,         // the word
        kLacks,       // the word
        kHasAnyCase,  // the word, or the other one, in any case
        kNever,
    } test;
    const char* word;
    const char* or_word;
    const char* otherwise;
};

constexpr const char* kWrongX3Path = "Please provide the correct kxgb3path\n";
constexpr const char* kWrongX4Path = "Please provide the correct kxgb4path\n";
constexpr const char* kUseInstallShield = "Please provide the installshieldpath\n";

// clang-format off
constexpr PathRow kPaths[] = {
    {kX3PathKey, {kWindows}, PathRow::kNever, nullptr, nullptr, kUseInstallShield},
    {kX3PathKey, {kLinux}, PathRow::kHas, "kxgb3toe", nullptr, kWrongX3Path},
    {kX3PathKey, {kSolaris}, PathRow::kHas, "kxge", nullptr, kWrongX3Path},
    {kX3PathKey, {kEsx}, PathRow::kHas, "vmware-esx-drivers", nullptr, kWrongX3Path},
    {kX3PathKey, {kMac, kXen}, PathRow::kHas, "kxgb", nullptr, kWrongX3Path},
    {kX3PathKey, {kMac}, PathRow::kLacks, "X4", nullptr, kWrongX3Path},
    {kX3PathKey, {kMac}, PathRow::kLacks, "X5", nullptr, kWrongX3Path},

    {kX4PathKey, {kWindows}, PathRow::kNever, nullptr, nullptr, kUseInstallShield},
    {kX4PathKey, {kLinux}, PathRow::kHas, "KorvaneZwire", nullptr, kWrongX4Path},
    {kX4PathKey, {kSolaris}, PathRow::kHas, "kxgbe", nullptr, kWrongX4Path},
    {kX4PathKey, {kEsx}, PathRow::kNever, nullptr, nullptr, "X4 Driver not supported on ESX\n"},
    {kX4PathKey, {kMac}, PathRow::kHas, "kxgb", nullptr, kWrongX3Path},  // this text, on purpose
    {kX4PathKey, {kMac}, PathRow::kHas, "X4", nullptr, kWrongX4Path},
    {kX4PathKey, {kMac}, PathRow::kHas, "X5", nullptr, kWrongX4Path},
    {kX4PathKey, {kXen}, PathRow::kHas, "kxgb", nullptr, kWrongX4Path},

    {kIscsiPathKey, kAnyAgent, PathRow::kHas, "vqiscsi", nullptr, "Please provide the correct iscsipath\n"},
    {kOfedPathKey, kAnyAgent, PathRow::kHas, "OFED", nullptr, "Please provide the correct OFED driver path\n"},
    {kInstallShieldPathKey, kAnyAgent, PathRow::kHasAnyCase, "korvanezwire", "vqx4zwire",
     "Please provide the correct KorvaneZwire Driver path\n"},
    {kZwirePathKey, kAnyAgent, PathRow::kHas, "KorvaneZwire", nullptr,
     "Please provide the correct korvane zwire package path\n"},
    {kAgentPathKey, kAnyAgent, PathRow::kHasAnyCase, "vqx4zwire", "korvanezwire",
     "Please provide the correct (for Linux) Installshield(for Windows) path\n472\n"},
    {kAgentPathKey, kAnyAgent, PathRow::kHasAnyCase, "exe", "gz",
     "Please provide the correct(for Linux) Installshield(for Windows) path\n"},
};
// clang-format on

constexpr const char* kWrongNdPath = "Please provide the correct ND Driver path\n";

bool Holds(const PathRow& row, std::string_view path) {
    switch (row.test) {
        case PathRow::kHas: return path.find(row.word) != path.npos;
        case PathRow::kLacks: return path.find(row.word) == path.npos;
        case PathRow::kHasAnyCase:
            return HasIgnoringCase(path, row.word) || HasIgnoringCase(path, row.or_word);
        case PathRow::kNever: return false;
    }
    return false;
}

/// Null, or what is wrong with the path.
const char* Judge(int key, std::string_view path, uint8_t os_type) {
    for (const PathRow& row : kPaths) {
        if (row.key == key && row.systems.Has(os_type) && !Holds(row, path)) return row.otherwise;
    }
    return nullptr;
}

/// Unknown names are left out; the last of them is in *unknown.
uint32_t TypesFrom(std::string_view list, std::string_view* unknown) {
    uint32_t mask = 0;
    bool first = true;
    while (!list.empty()) {
        const size_t comma = std::min(list.find(','), list.size());
        const std::string_view name = list.substr(0, comma);
        list.remove_prefix(std::min(comma + 1, list.size()));
        if (name.empty()) continue;
        if (first && SameIgnoringCase(name, "zm")) return kAgentUpdate;
        first = false;
        const auto* found = std::ranges::find_if(
            kTypeNames, [&](const char* known) { return SameIgnoringCase(name, known); });
        if (found != std::end(kTypeNames)) {
            mask |= 1u << (found - std::begin(kTypeNames));
        } else {
            *unknown = name;
        }
    }
    return mask;
}

bool IsOfedPackage(std::string_view value) {
    if (value.size() > sizeof(FileTransferRecord::extra)) return false;
    return SameIgnoringCase(value, "basic") || SameIgnoringCase(value, "hpc") ||
           SameIgnoringCase(value, "all") || EndsIgnoringCase(value, ".conf");
}

/// A decimal number below 6, or -1.
int ConfTypeFrom(std::string_view value) {
    const auto type = Decimal<uint32_t>(value);
    return type && *type < 6 ? static_cast<int>(*type) : -1;
}

/// One request's keys, taken in their order.
class Validation {
  public:
    Validation(ZwMgmt_interface& validating_session, InstallOptions* validated)
        : session(validating_session), options(*validated) {}

    bool Take(const Client_Request_Argument& key) {
        const std::string_view value = ValueOf(key);
        switch (key.key) {
            case kTypeKey: return TakeTypes(key);
            case kOfedPackageKey: return TakeOfedPackage(key);
            case kConfTypeKey:
                options.conf_type = ConfTypeFrom(value);
                return options.conf_type != -1 ||
                       Wrong("Please provide the correct conf type value\n");
            case kX3PathKey: return TakeDriver(0) && NotOfAllTypes() && Judged(key.key, value);
            case kX4PathKey: return TakeDriver(1) && Judged(key.key, value);
            case kIscsiPathKey:
                options.generation = 0;
                iscsi_given = true;
                return Counted() && Judged(key.key, value);
            case kOfedPathKey:
                ofed_given = true;
                ofed_package_missing = true;
                return Counted() && Judged(key.key, value);
            case kInstallShieldPathKey:
                if (!IsForAgent(key.key)) return false;
                // The word is looked for in capitals in a path in lower case, and never found.
                if (options.type_mask & kTypeNd) return Wrong(kWrongNdPath);
                installer_given = true;
                return Judged(key.key, value) && Counted();
            case kZwirePathKey:
                if (!IsForAgent(key.key)) return false;
                options.generation = 1;
                return Counted() && Judged(key.key, value);
            case kAgentPathKey:
                agent_given = true;
                return IsForAgent(key.key) && Counted() && Judged(key.key, value);
            default: return true;
        }
    }

    Validity Finish() {
        const auto refused = [&](const char* text) {
            Wrong(text);
            return Validity::kRefused;
        };
        const uint32_t types = options.type_mask;
        if (types == 0) return refused("Driver type is not specified \n");
        if (session.CLIsValidOSDrvType(types, options.generation) != 0) {
            return refused("The specified driver type(s) does not apply for this driver \n");
        }
        if (options.path_count == 0) return refused("Driver path is not specified \n");
        if (types == kAgentUpdate && agent_given) return Validity::kValid;
        if (ofed_package_missing) {
            return refused("Please specify the \"ofedpkg\" for ofed to install\n");
        }
        options.x3_path_given = (types & (kTypeIscsi | kTypeOfed)) != 0;
        const bool package_given = installer_given || (types & kTypeIscsi  ? iscsi_given
                                                       : types & kTypeOfed ? ofed_given
                                                                           : true);
        return package_given ? Validity::kValid : Validity::kRefusedQuietly;
    }

  private:
    bool Wrong(const char* text) {
        session.PrintOutput("%s", text);
        return false;
    }

    bool Counted() {
        ++options.path_count;
        return true;
    }

    bool TakeTypes(const Client_Request_Argument& key) {
        std::string_view unknown;
        options.type_mask = TypesFrom(ValueOf(key), &unknown);
        if (!unknown.empty()) {
            Remarks::Warn(session, key, ": %.*s is no type, and left out",
                          static_cast<int>(unknown.size()), unknown.data());
        }
        return true;
    }

    /// An X3 or X4 driver. iSCSI and OFED sit on top of its TOE.
    bool TakeDriver(int generation) {
        options.generation = generation;
        if (options.type_mask & (kTypeIscsi | kTypeOfed)) options.type_mask |= kTypeToe;
        return Counted();
    }

    bool NotOfAllTypes() {
        return options.type_mask >> 24 != kTypeAll >> 24 ||
               Wrong("X3 driver cannot have type=all\n");
    }

    bool IsForAgent(int key) {
        for (const OnlyRow& row : kOnly) {
            if (row.key == key && !row.systems.Has(session.OsType())) return Wrong(row.otherwise);
        }
        return true;
    }

    bool Judged(int key, std::string_view path) {
        const char* wrong = Judge(key, path, session.OsType());
        return wrong == nullptr || Wrong(wrong);
    }

    bool TakeOfedPackage(const Client_Request_Argument& key) {
        if (!ofed_given) return true;
        ofed_package_missing = false;
        options.ofed_package = key.value;
        return IsOfedPackage(ValueOf(key)) || Wrong("Please specify the correct ofedpkg\n\n");
    }

    ZwMgmt_interface& session;
    InstallOptions& options;
    bool iscsi_given = false;
    bool ofed_given = false;
    bool ofed_package_missing = false;
    bool installer_given = false;
    bool agent_given = false;
};

}  // namespace

namespace {

/// The types that agents of an OS take, whatever the driver.
uint32_t TypesOf(uint8_t os_type) {
    uint32_t mask = 0;
    for (const AllowedRow& row : kAllowed) {
        if (row.os == os_type) mask |= row.types;
    }
    return mask;
}

std::string TypeWords(uint8_t os_type) {
    std::string text;
    for (size_t bit = 0; bit < std::size(kTypeNames); ++bit) {
        if ((TypesOf(os_type) >> bit & 1) == 0 || kTypeNames[bit][0] == '\0') continue;
        text += std::string(text.empty() ? "" : ", ") + kTypeNames[bit];
    }
    return kOnlyAgentUpdates.systems.Has(os_type) ? text + "; or zm" : text;
}

/// The type without which a key has no meaning; 0: any.
uint32_t TypeFor(int key) {
    switch (key) {
        case kIscsiPathKey: return kTypeIscsi;
        case kOfedPathKey:
        case kOfedPackageKey: return kTypeOfed;
        default: return 0;
    }
}

/// What a package's path must be like; empty where agents of the OS do not take it.
std::string PathFor(int key, uint8_t os_type) {
    for (const OnlyRow& row : kOnly) {
        if (row.key == key && !row.systems.Has(os_type)) return "";
    }
    std::string text = "a file";
    const char* joint = "; its path has ";
    for (const PathRow& row : kPaths) {
        if (row.key != key || !row.systems.Has(os_type)) continue;
        if (row.test == PathRow::kNever) return "";
        text += joint;
        text += row.test == PathRow::kLacks ? "no " : "";
        text += row.word;
        if (row.or_word != nullptr) text += std::string(" or ") + row.or_word;
        joint = " and ";
    }
    return text;
}

}  // namespace

void AddInstallKeys(CommandKeys* keys) {
    constexpr int kPackages[] = {
        kX3PathKey,    kX4PathKey,   kIscsiPathKey, kOfedPathKey, kInstallShieldPathKey,
        kZwirePathKey, kAgentPathKey};
    for (const AgentName& agent : kAgentNames) {
        const auto add = [&](int key, std::string takes) {
            const uint32_t type = TypeFor(key);
            if (takes.empty() || (TypesOf(agent.os) & type) != type) return;
            keys->push_back({KeyWord(kSystem, key), key, {agent.os}, std::move(takes)});
            if (key == kTypeKey) keys->back().need = " (required)";
        };
        // The X3 driver is not for type=all, which is the one type that some agents take.
        const bool only_all = TypesOf(agent.os) == kTypeAll;
        add(kTypeKey, TypeWords(agent.os));
        for (const int key : kPackages) {
            if (key != kX3PathKey || !only_all) add(key, PathFor(key, agent.os));
        }
        add(kOfedPackageKey, "basic, hpc, all or a FILE.conf; after ofedpath");
        add(kConfTypeKey, "0 to 5");
    }
}

Validity Validate(ZwMgmt_interface& session, const Client_Request_Message* request,
                  InstallOptions* options) {
    if (KeysOf(request).empty()) {
        session.PrintOutput("Driver type is not specified \n");
        return Validity::kRefused;
    }
    Validation validation(session, options);
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (validation.Take(key)) continue;
        Remarks::Refuse(session, key);
        return Validity::kRefused;
    }
    options->all_taken = true;
    return validation.Finish();
}

}  // namespace zwmgmt

using namespace zwmgmt;

int ZwMgmt_interface::CLIsValidOSDrvType(uint32_t type_mask, int generation) const {
    for (const AllowedRow& row : kAllowed) {
        if (row.os == os_type && row.first <= generation && generation <= row.last) {
            return (type_mask & ~row.types) != 0;
        }
    }
    return type_mask != 0;
}

int ZwMgmt_interface::CLdoValidationsDrvInstall(const Client_Request_Message* request,
                                                int* x3_path_given, int* path_count,
                                                uint32_t* type_mask, int* generation) {
    InstallOptions options;
    options.generation = *generation;
    const Validity validity = Validate(*this, request, &options);
    if (options.x3_path_given) *x3_path_given = 1;
    *path_count = options.path_count;
    if (options.all_taken) *type_mask = options.type_mask;
    *generation = options.generation;
    return validity == Validity::kValid ? 0 : 1;
}
