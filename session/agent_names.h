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

}  // namespace zwmgmt
