/// The agents' operating systems by name.
#pragma once

#include <string>

#include "records/capabilities.h"
#include "session/os_set.h"

namespace zwmgmt {

struct AgentName {
    AgentOs os;
    const char* name;
};

inline constexpr AgentName kAgentNames[] = {
    {kWindows, kOsWords[kWindows]}, {kLinux, kOsWords[kLinux]}, {kSolaris, kOsWords[kSolaris]},
    {kFreeBsd, kOsWords[kFreeBsd]}, {kEsx, kOsWords[kEsx]},     {kMac, kOsWords[kMac]},
    {kXen, kOsWords[kXen]},
};

/// Null for a code that this client does not know.
inline const char* NameOfAgent(uint8_t os) {
    for (const AgentName& row : kAgentNames) {
        if (row.os == os) return row.name;
    }
    return nullptr;
}

/// "Windows, Linux"
inline std::string NamesOf(OsSet systems) {
    std::string names;
    for (const AgentName& agent : kAgentNames) {
        if (systems.Has(agent.os)) names += std::string(names.empty() ? "" : ", ") + agent.name;
    }
    return names;
}

}  // namespace zwmgmt
