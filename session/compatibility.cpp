/// Whether an agent can serve a command: by its OS when it speaks this client's interface version,
/// by the newest capabilities known for its OS otherwise.
#include "session/compatibility.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace {

using namespace zwmgmt;

constexpr OsSet kEveryOs = {kWindows, kLinux, kSolaris, kFreeBsd, kEsx, kMac, kXen};
constexpr OsSet kAnyOs = OsSet::Any();

/// Where a service is available, and how its absence is worded to an agent of the same version.
struct OsRow {
    uint8_t service;
    OsSet os_codes;
    const char* refusal;
};

constexpr OsRow kServicesByOs[] = {
    {kIscsi,
     {kWindows, kLinux, kSolaris, kXen},
     "Error: ISCSI service is not available on Server\n"},
    {kNet, kAnyOs, ""},
    {kTeam,
     {kWindows, kLinux, kSolaris, kFreeBsd, kXen},
     "Error: Teaming/Bonding service is not available on Server\n"},
    {kKorvane, kEveryOs, "Error: Korvane  service is not available on Server\n"},
    {kSystem, kEveryOs, "Error: System service is not available on Server\n"},
    {kFilter, {kLinux}, "Error: Filter service is not available on Server\n"},
    {kTm, {kLinux}, "Error: Traffic management(TM) service is not available on Server\n"},
    {kLog, kAnyOs, ""},
    {kFcoe, {kWindows, kLinux, kXen}, "Error: FCOE service is not available on Server\n"},
    {kIwarp, {kWindows, kLinux, kFreeBsd}, "Error: IWARP service is not available on Server\n"},
    {kDiags, kAnyOs, ""},
    {kHyperv, {kWindows}, "Error: Service is not available on Server\n"},
    {kWdudp, {kLinux}, "Error: WDUDP service is not available on Server\n"},
    {kFoiscsiini, kAnyOs, ""},
    {kTmsched, {kLinux}, "Error: TM Scheduler service is not available on Server\n"},
    {kBypass, kAnyOs, ""},
    {kWdtoe, {kLinux}, "Error: WDTOE service is not available on Server\n"},
    {kMsteam, {kWindows}, "Error: Service is not available on Server\n"},
    {kBonding, kAnyOs, ""},
};

/// The word of a service in a capabilities record, and the two refusals of another version.
struct WordRow {
    uint8_t service;
    size_t word;                // offset of the 16-bit word in Capabilities
    const char* not_available;  // null: absence is no reason to refuse
    const char* incompatible;
};

constexpr WordRow kServiceWords[] = {
    {kIscsi, offsetof(Capabilities, iscsi),
     "Error: ISCSI service is not available in specified server\n",
     "Error: Backward compatibility is not supported for ISCSI Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kNet, offsetof(Capabilities, network),
     "Error: Network service is not available in specified Server\n",
     "Error: Backward compatibility is not supported for Network Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kTeam, offsetof(Capabilities, teaming),
     "Error: Team service si not available in specified server\n",
     "Error: Backward compatibility is not supported for Teaming Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kKorvane, offsetof(Capabilities, adapter), nullptr,
     "Error: Backward compatibility is not supported for Korvane Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kSystem, offsetof(Capabilities, system),
     "Error: System service is not available in the specified server\n",
     "Error: Backward compatibility is not supported for System Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kFilter, offsetof(Capabilities, filter),
     "Error: Filter service is not available on the specified server\n",
     "Error: Backward compatibility is not supported for Filter Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kTm, offsetof(Capabilities, traffic_management),
     "Error: TM service is not available on the specified server\n",
     "Error: Backward compatibility is not supported for Traffic Management(TM) Service. Server "
     "version is older than the client version. Please update the server\n"},
    {kLog, offsetof(Capabilities, log), "Error: Log service is not available on specified server\n",
     "Error: Backward compatibility is not supported for LOG Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kFcoe, offsetof(Capabilities, fcoe),
     "Error: Fcoe service is not available on specified server\n",
     "Error: Backward compatibility is not supported for FCOE Service. Server version is older "
     "than the client version. Please update the server\n"},
    {kIwarp, offsetof(Capabilities, iwarp),
     "Error: Iwarp service is not available on specified server\n",
     "Error: Backward compatibility is not supported for IWARP Service. Server version is older "
     "than the client version. Please update the server\n"},
};

constexpr uint16_t kAvailable = 0x0002;
constexpr uint16_t kIncompatibleBit = 0x0001;
constexpr uint16_t kFullOffloadInitiator = 0x0080;

/// Every agent since interface 1.0 serves every service of its OS.
constexpr uint8_t kMinimumServerVersion = 0x10;

const OsRow* FindOsRow(uint8_t service) {
    for (const OsRow& row : kServicesByOs) {
        if (row.service == service) return &row;
    }
    return nullptr;
}

uint16_t WordOf(const Capabilities& capabilities, const WordRow& row) {
    uint16_t word;
    std::memcpy(&word, reinterpret_cast<const char*>(&capabilities) + row.word, sizeof(word));
    return word;
}

void SetWord(Capabilities* capabilities, const WordRow& row, uint16_t word) {
    std::memcpy(reinterpret_cast<char*>(capabilities) + row.word, &word, sizeof(word));
}

/// The newest agents offer, on each OS, what passes for it in the table of the same version.
void FillNewest(Capabilities* capabilities, AgentOs os) {
    for (const WordRow& row : kServiceWords) {
        SetWord(capabilities, row, FindOsRow(row.service)->os_codes.Has(os) ? kAvailable : 0);
    }
    if (capabilities->iscsi != 0) capabilities->iscsi |= kFullOffloadInitiator;
    capabilities->bypass = 0;
    capabilities->bonding = 0;
}

const char* RefusalOf(const Capabilities& newest, const WordRow& row) {
    const uint16_t word = WordOf(newest, row);
    if (word == 0 && row.not_available != nullptr) return row.not_available;
    return word & kIncompatibleBit ? row.incompatible : "";
}

}  // namespace

void zwmgmt::NewestRefusal(const Capabilities& newest, uint8_t service, char* text,
                           size_t capacity) {
    for (const WordRow& row : kServiceWords) {
        if (row.service != service) continue;
        std::snprintf(text, capacity, "%s", RefusalOf(newest, row));
        return;
    }
    const bool initiator = newest.iscsi == 0 || (newest.iscsi & kFullOffloadInitiator);
    const char* refusal = "";
    switch (service) {
        case kDiags: break;
        case kFoiscsiini: refusal = initiator ? "" : "foiscsiini service not available\n"; break;
        case kBypass: refusal = newest.bypass == 0 ? "" : "bypass service not available\n"; break;
        case kBonding:
            refusal = newest.bonding == 0 ? "" : "bonding service not available\n";
            break;
        default: std::snprintf(text, capacity, "Error: Unsupported Service %d", service); return;
    }
    std::snprintf(text, capacity, "%s", refusal);
}

void ZwMgmt_interface::GetLatestWindowsCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kWindows);
}
void ZwMgmt_interface::GetLatestLinuxCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kLinux);
}
void ZwMgmt_interface::GetLatestXENCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kXen);
}
/// Xen and Solaris agents are one family and have one table, Xen's.
void ZwMgmt_interface::GetLatestSolarisCapabilities(Capabilities* capabilities) {
    GetLatestXENCapabilities(capabilities);
}
void ZwMgmt_interface::GetLatestFBSDCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kFreeBsd);
}
void ZwMgmt_interface::GetLatestESXCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kEsx);
}
void ZwMgmt_interface::GetLatestMacCapabilities(Capabilities* capabilities) {
    FillNewest(capabilities, kMac);
}

int ZwMgmt_interface::GetLatestServerCapabilities(Capabilities* capabilities) {
    switch (capabilities->os_code) {
        case kWindows: GetLatestWindowsCapabilities(capabilities); return 0;
        case kLinux: GetLatestLinuxCapabilities(capabilities); return 0;
        case kSolaris: GetLatestSolarisCapabilities(capabilities); return 0;
        case kXen: GetLatestXENCapabilities(capabilities); return 0;
        case kFreeBsd: GetLatestFBSDCapabilities(capabilities); return 0;
        case kEsx: GetLatestESXCapabilities(capabilities); return 0;
        case kMac: GetLatestMacCapabilities(capabilities); return 0;
        default: return -1;
    }
}

void ZwMgmt_interface::CLGetMinServerVer() {
    for (size_t service = 1; service < std::size(minimum_server_version); ++service) {
        minimum_server_version[service] = kMinimumServerVersion;
    }
}

uint8_t ZwMgmt_interface::MinimumServerVersion(uint8_t service) const {
    return service < sizeof(minimum_server_version) ? minimum_server_version[service] : 0;
}

const Capabilities& ZwMgmt_interface::AgentCapabilities() const { return agent_capabilities; }
const char* ZwMgmt_interface::ErrorText() const { return error_text; }

int ZwMgmt_interface::RefuseService(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(error_text, sizeof(error_text), format, arguments);
    va_end(arguments);
    return kIncompatible;
}

int ZwMgmt_interface::Validate_Server_APIVersion_Capabilities(const Capabilities* capabilities,
                                                              uint8_t service, uint16_t command) {
    error_text[0] = '\0';
    const uint8_t agent = capabilities->api_version;
    if (agent == kClientApiVersion) return CheckSameVersion(*capabilities, service, command);

    PrintOutput(
        "Warning: Server API version %d.%d doesn't match with Client API version %d.%d. Checking "
        "for service availability and backward compatibility ...\n",
        agent >> 4, agent & 0xF, kClientApiVersion >> 4, kClientApiVersion & 0xF);
    Capabilities newest = {};
    newest.os_code = capabilities->os_code;
    if (GetLatestServerCapabilities(&newest) != 0) return RefuseService("Error: Unsupported OS\n");
    if (service == kBonding) PrintOutput("nix teaming service\n");
    NewestRefusal(newest, service, error_text, sizeof(error_text));
    return error_text[0] != '\0' ? int{kIncompatible} : 0;
}

int ZwMgmt_interface::CheckSameVersion(const Capabilities& agent, uint8_t service,
                                       uint16_t command) {
    const OsRow* row = FindOsRow(service);
    if (row == nullptr) return RefuseService("Error: Unsupported Service\n");
    if (!row->os_codes.Has(agent.os_code)) return RefuseService("%s", row->refusal);
    if (service != kNet) return 0;

    if (agent.network == 0) {
        return RefuseService("Error: Network service is not available on Server\n");
    }
    if (agent.os_code == kEsx) return 0;
    if (command == kVswitch) {
        return RefuseService(
            "Error: Vswitch command in Network service is not available in specified Server\n");
    }
    if (command == kVswif) {
        return RefuseService(
            "Error: Vswif command in Network service is not available in specified Server\n");
    }
    return 0;
}
