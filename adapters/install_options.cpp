/// The options of "system install": driver types, packages and what must be true of both. The keys
/// are judged one after the other, so a package is judged by the types given before it.
#include "adapters/install_options.h"

#include <algorithm>

#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"
#include "records/driver_types.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {
namespace {

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
            kDriverTypeNames, [&](const char* known) { return SameIgnoringCase(name, known); });
        if (found != std::end(kDriverTypeNames)) {
            mask |= 1u << (found - std::begin(kDriverTypeNames));
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

constexpr const char* kNoType = "Driver type is not specified \n";

/// One request's keys, taken in their order: each is null, or what is wrong.
class Validation {
  public:
    Validation(ZwMgmt_interface& validating_session, InstallOptions* validated)
        : session(validating_session), options(*validated) {}

    const char* TakeTypes(const Client_Request_Argument& key) {
        std::string_view unknown;
        options.type_mask = TypesFrom(ValueOf(key), &unknown);
        if (!unknown.empty()) {
            Remarks::Warn(session, key, ": %.*s is no type, and left out",
                          static_cast<int>(unknown.size()), unknown.data());
        }
        return nullptr;
    }

    const char* TakeX3Driver(const Client_Request_Argument& key) {
        TakeDriver(0);
        const bool all = options.type_mask >> 24 == kTypeAll >> 24;
        return all ? "X3 driver cannot have type=all\n" : WrongPath(key);
    }

    const char* TakeX4Driver(const Client_Request_Argument& key) {
        TakeDriver(1);
        return WrongPath(key);
    }

    const char* TakeIscsi(const Client_Request_Argument& key) {
        options.generation = 0;
        iscsi_given = true;
        ++options.path_count;
        return WrongPath(key);
    }

    const char* TakeOfed(const Client_Request_Argument& key) {
        ofed_given = true;
        ofed_package_missing = true;
        ++options.path_count;
        return WrongPath(key);
    }

    const char* TakeOfedPackage(const Client_Request_Argument& key) {
        if (!ofed_given) return nullptr;
        ofed_package_missing = false;
        options.ofed_package = key.value;
        return IsOfedPackage(ValueOf(key)) ? nullptr : "Please specify the correct ofedpkg\n\n";
    }

    const char* TakeInstaller(const Client_Request_Argument& key) {
        if (const char* wrong = WrongAgent(key.key)) return wrong;
        // The word is looked for in capitals in a path in lower case, and never found.
        if (options.type_mask & kTypeNd) return kWrongNdPath;
        installer_given = true;
        const char* wrong = WrongPath(key);
        if (wrong == nullptr) ++options.path_count;
        return wrong;
    }

    const char* TakeZwire(const Client_Request_Argument& key) {
        if (const char* wrong = WrongAgent(key.key)) return wrong;
        options.generation = 1;
        ++options.path_count;
        return WrongPath(key);
    }

    const char* TakeAgent(const Client_Request_Argument& key) {
        agent_given = true;
        if (const char* wrong = WrongAgent(key.key)) return wrong;
        ++options.path_count;
        return WrongPath(key);
    }

    const char* TakeConfType(const Client_Request_Argument& key) {
        options.conf_type = ConfTypeFrom(ValueOf(key));
        return options.conf_type != -1 ? nullptr : "Please provide the correct conf type value\n";
    }

    Validity Finish() {
        const auto refused = [&](const char* text) {
            session.PrintOutput("%s", text);
            return Validity::kRefused;
        };
        const uint32_t types = options.type_mask;
        if (types == 0) return refused(kNoType);
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
    /// An X3 or X4 driver. iSCSI and OFED sit on top of its TOE.
    void TakeDriver(int generation) {
        options.generation = generation;
        if (options.type_mask & (kTypeIscsi | kTypeOfed)) options.type_mask |= kTypeToe;
        ++options.path_count;
    }

    const char* WrongAgent(int key) const {
        for (const OnlyRow& row : kOnly) {
            if (row.key == key && !row.systems.Has(session.OsType())) return row.otherwise;
        }
        return nullptr;
    }

    const char* WrongPath(const Client_Request_Argument& key) const {
        return Judge(key.key, ValueOf(key), session.OsType());
    }

    ZwMgmt_interface& session;
    InstallOptions& options;
    bool iscsi_given = false;
    bool ofed_given = false;
    bool ofed_package_missing = false;
    bool installer_given = false;
    bool agent_given = false;
};

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
    for (size_t bit = 0; bit < std::size(kDriverTypeNames); ++bit) {
        if ((TypesOf(os_type) >> bit & 1) == 0 || kDriverTypeNames[bit][0] == '\0') continue;
        text += std::string(text.empty() ? "" : ", ") + kDriverTypeNames[bit];
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

/// What a key may be for agents of an OS; empty where they do not take it.
std::string TakenByAgents(const Argument& row, uint8_t os_type) {
    const uint32_t type = TypeFor(row.key);
    // The X3 driver is not for type=all, which is the one type that some agents take.
    const bool only_all = TypesOf(os_type) == kTypeAll;
    if ((TypesOf(os_type) & type) != type || (row.key == kX3PathKey && only_all)) return "";
    if (row.key == kTypeKey) return TypeWords(os_type);
    return row.takes != nullptr ? row.takes : PathFor(row.key, os_type);
}

template <auto Take>
Verdict Set(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
            const Client_Request_Argument& key, void* record) {
    const char* wrong = (static_cast<Validation*>(record)->*Take)(key);
    return wrong == nullptr ? Verdict{} : Wrong(wrong);
}

/// A row of no member: what is asked for is worked out as the keys come.
constexpr Argument Row(const char* word, int key, Form form, Argument::Setter set,
                       const char* takes = nullptr) {
    return {.word = word,
            .key = key,
            .offset = 0,
            .width = 0,
            .is_signed = false,
            .form = form,
            .set = set,
            .takes = takes};
}

constexpr Argument kArguments[] = {
    Row("type", kTypeKey, Form::kOther, Set<&Validation::TakeTypes>),
    Row("kxgb3path", kX3PathKey, Form::kFile, Set<&Validation::TakeX3Driver>),
    Row("kxgb4path", kX4PathKey, Form::kFile, Set<&Validation::TakeX4Driver>),
    Row("iscsipath", kIscsiPathKey, Form::kFile, Set<&Validation::TakeIscsi>),
    Row("ofedpath", kOfedPathKey, Form::kFile, Set<&Validation::TakeOfed>),
    Row("installshieldpath", kInstallShieldPathKey, Form::kFile, Set<&Validation::TakeInstaller>),
    Row("zwirepath", kZwirePathKey, Form::kFile, Set<&Validation::TakeZwire>),
    Row("zmpath", kAgentPathKey, Form::kFile, Set<&Validation::TakeAgent>),
    Row("ofedpkg", kOfedPackageKey, Form::kOther, Set<&Validation::TakeOfedPackage>,
        "basic, hpc, all or a FILE.conf; after ofedpath"),
    Row("conftype", kConfTypeKey, Form::kOther, Set<&Validation::TakeConfType>, "0 to 5"),
};

constexpr Required kRequired[] = {{kTypeKey, Required::kGiven, kNoType}};

constexpr RequestForm kForm = {.service = kSystem,
                               .command = kInstall,
                               .record_size = 0,
                               .arguments = kArguments,
                               .required = kRequired,
                               .unknown = nullptr,
                               .taken_by_agents = TakenByAgents};

}  // namespace

std::span<const RequestForm* const> InstallForms() {
    static constexpr const RequestForm* kForms[] = {&kForm};
    return kForms;
}

bool IsPackage(int key) {
    const Argument* row = FindArgument(kArguments, 0, key);
    return row != nullptr && row->form == Form::kFile;
}

Validity Validate(ZwMgmt_interface& session, const Client_Request_Message* request,
                  InstallOptions* options) {
    if (KeysOf(request).empty()) {
        session.PrintOutput("%s", kNoType);
        return Validity::kRefused;
    }
    Validation validation(session, options);
    if (ReadArguments(session, KeysOf(request), kForm, &validation) != 0) {
        return Validity::kRefused;
    }
    options->all_taken = true;
    return validation.Finish();
}

}  // namespace zwmgmt

using namespace zwmgmt;

int ZwMgmt_interface::CLIsValidOSDrvType(uint32_t type_mask, int generation) const {
    for (const AllowedRow& row : kAllowed) {
        if (row.os == OsType() && row.first <= generation && generation <= row.last) {
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
