#include "session/compatibility.h"

#include <cstdio>
#include <cstring>

#include "session/os_set.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt {
namespace {

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

const char* RefusalOf(const Capabilities& newest, const WordRow& row) {
    const uint16_t word = WordOf(newest, row);
    if (word == 0 && row.not_available != nullptr) return row.not_available;
    return word & kIncompatibleBit ? row.incompatible : "";
}

}  // namespace

void NewestRefusal(const Capabilities& newest, uint8_t service, char* text, size_t capacity) {
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

/// The newest agents offer, on each OS, what passes for it in the table of the same version.
void FillNewest(Capabilities* capabilities, AgentOs os) {
    // Xen and Solaris agents are one family and have one table, Xen's.
    if (os == kSolaris) os = kXen;
    for (const WordRow& row : kServiceWords) {
        SetWord(capabilities, row, FindOsRow(row.service)->os_codes.Has(os) ? kAvailable : 0);
    }
    if (capabilities->iscsi != 0) capabilities->iscsi |= kFullOffloadInitiator;
    capabilities->bypass = 0;
    capabilities->bonding = 0;
}

bool FillNewest(Capabilities* capabilities) {
    const uint8_t os = capabilities->os_code;
    if (!kEveryOs.Has(os)) return false;
    FillNewest(capabilities, static_cast<AgentOs>(os));
    return true;
}

uint8_t MinimumVersionOf(uint8_t service) {
    return service != 0 && service <= kGeneric ? kMinimumServerVersion : 0;
}

bool Compatibility::Keep(const void* record, size_t length) {
    if (length < sizeof(agent)) return false;
    std::memcpy(&agent, record, sizeof(agent));
    return true;
}

Compatibility::Verdict Compatibility::Judge(const Capabilities& capabilities, uint8_t service,
                                            uint16_t command) {
    error_text[0] = '\0';
    if (capabilities.api_version == kClientApiVersion) {
        return {.refused = RefusesSameVersion(capabilities, service, command),
                .other_version = false};
    }
    Capabilities newest = {};
    newest.os_code = capabilities.os_code;
    if (!FillNewest(&newest)) {
        return {.refused = Refuse("Error: Unsupported OS\n"), .other_version = true};
    }
    NewestRefusal(newest, service, error_text, sizeof(error_text));
    return {
        .refused = error_text[0] != '\0', .other_version = true, .no_teaming = service == kBonding};
}

bool Compatibility::Refuse(const char* text) {
    std::snprintf(error_text, sizeof(error_text), "%s", text);
    return true;
}

bool Compatibility::RefusesSameVersion(const Capabilities& capabilities, uint8_t service,
                                       uint16_t command) {
    const OsRow* row = FindOsRow(service);
    if (row == nullptr) return Refuse("Error: Unsupported Service\n");
    if (!row->os_codes.Has(capabilities.os_code)) return Refuse(row->refusal);
    if (service != kNet) return false;

    if (capabilities.network == 0) {
        return Refuse("Error: Network service is not available on Server\n");
    }
    if (capabilities.os_code == kEsx) return false;
    if (command == kVswitch) {
        return Refuse(
            "Error: Vswitch command in Network service is not available in specified Server\n");
    }
    if (command == kVswif) {
        return Refuse(
            "Error: Vswif command in Network service is not available in specified Server\n");
    }
    return false;
}

}  // namespace zwmgmt
