/// The numbers of services and commands, as they travel on the wire. The words behind them, and the
/// numbers of keys and sub-commands, come from the look-ups of ZwMgmt_interface.
#pragma once

#include <cstdint>

namespace zwmgmt {

/// The services of an agent, by the words that a command line begins with. This version sends
/// commands of those that are described.
enum Service : uint8_t {
    kSession = 0,  ///< opening, login and logout
    kIscsi = 1,
    kNet = 2,  ///< ping, trace route, MTU of the host's interfaces
    kTeam = 3,
    kKorvane = 4,  ///< adapters and their ports
    kSystem = 5,   ///< drivers, installation, capabilities
    kFilter = 6,   ///< hardware filter rules
    kTm = 7,       ///< offload policies
    kLog = 8,
    kFcoe = 9,
    kIwarp = 10,
    kDiags = 11,
    kHyperv = 12,
    kWdudp = 13,
    kFoiscsiini = 14,
    kTmsched = 15,
    kBypass = 16,
    kWdtoe = 17,
    kMsteam = 18,
    kBonding = 19,
    kGeneric = 20,
};

/// Commands that the library's own code names; outside iscsi the number is the wire opcode too.
enum Command : uint16_t {
    kGetCapabilities = 8,          ///< system
    kSetMtu = 101,                 ///< net
    kPing = 104,                   ///< net
    kPingResult = 105,             ///< no word: "ping getresult"
    kTraceRoute = 106,             ///< net
    kTraceRouteResult = 107,       ///< no word: "traceroute getresult"
    kVswitch = 110,                ///< net
    kVswif = 111,                  ///< net
    kPortGroup = 115,              ///< net
    kListPorts = 136,              ///< korvane
    kListDrivers = 137,            ///< system
    kGetCardStats = 138,           ///< korvane
    kSetCardProperty = 139,        ///< korvane
    kSetPortProperty = 140,        ///< korvane
    kGetPortStats = 141,           ///< korvane
    kListAdapterProps = 142,       ///< korvane
    kInstall = 143,                ///< system
    kGetInstallResult = 144,       ///< system
    kLoadDriver = 145,             ///< system
    kReloadDriver = 146,           ///< system
    kUnloadDriver = 147,           ///< system
    kFlashRom = 156,               ///< korvane
    kModifyFilterX3 = 170,         ///< filter
    kDeleteFilterX3 = 171,         ///< filter
    kAddFilterX3 = 172,            ///< filter
    kListFiltersX3 = 173,          ///< filter
    kMaxFilters = 174,             ///< filter; sent as one of the next two
    kSetMaxFilters = 175,          ///< no word: "maxfilters set"
    kGetMaxFilters = 176,          ///< no word: "maxfilters get"
    kAddPolicy = 177,              ///< tm
    kModifyPolicy = 178,           ///< tm
    kDeletePolicy = 179,           ///< tm
    kListPolicies = 180,           ///< tm
    kBridge = 234,                 ///< net
    kVif = 236,                    ///< net
    kPif = 238,                    ///< net
    kModifyFilterX4 = 299,         ///< filter
    kDeleteFilterX4 = 300,         ///< filter
    kAddFilterX4 = 301,            ///< filter
    kListFiltersX4 = 302,          ///< filter
    kShowCombinations = 323,       ///< filter; nothing is sent
    kSetCombination = 324,         ///< filter
    kShowActiveCombination = 327,  ///< filter
    kListX3Adapters = 337,         ///< filter
    kListX4Adapters = 338,         ///< filter
    kFirstUnusedCommand = 349,     ///< no command has this number or a higher one
};

/// The agent's operating system, from the opening reply and in the capabilities record.
enum AgentOs : uint8_t {
    kWindows = 1,
    kLinux = 2,
    kSolaris = 3,
    kFreeBsd = 4,
    kEsx = 5,
    kMac = 6,
    kXen = 8,
};

/// Kinds of per-user files, for GetZMFileName.
inline constexpr int kCredentialsFile = 3;

}  // namespace zwmgmt
