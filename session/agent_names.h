/// The agents' operating systems by name.
#pragma once

#include "zwmgmt/vocabulary.h"

namespace zwmgmt {

struct AgentName {
    AgentOs os;
    const char* name;
};

inline constexpr AgentName kAgentNames[] = {
    {kWindows, "Windows"}, {kLinux, "Linux"}, {kSolaris, "Solaris"}, {kFreeBsd, "FreeBSD"},
    {kEsx, "ESX"},         {kMac, "Mac OS"},  {kXen, "Xen"},
};

/// Null for a code that this client does not know.
inline const char* NameOfAgent(uint8_t os) {
    for (const AgentName& row : kAgentNames) {
        if (row.os == os) return row.name;
    }
    return nullptr;
}

}  // namespace zwmgmt
