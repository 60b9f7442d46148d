/// What the kernel's ethtool tells and takes of an interface: over generic netlink, and by ioctl
/// where netlink has no message.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "linux_agent/netlink.h"

namespace zmagent {

/// One bit of a bitset: of its mask where it has one, else one that is set.
struct Bit {
    uint32_t index;
    std::string name;
    bool set;
};
using Bits = std::vector<Bit>;

/// The bitset that a nest holds, in its form with names.
Bits BitsIn(const Attributes& bitset);
/// Changes these bits by their names, and no other.
void PutBits(Request& request, uint16_t type, const Bits& bits);

struct DriverNames {
    std::string driver;
    std::string version;
    std::string firmware;
};

/// A driver's counters, by name.
using Counters = std::vector<std::pair<std::string, uint64_t>>;

class Ethtool {
  public:
    using Take = std::function<void(const Attributes&)>;
    using Put = std::function<void(Request&)>;

    /// Messages are ETHTOOL_MSG_..._GET and ..._SET; interfaces have numbers, which no renaming
    /// changes.
    Outcome Read(uint8_t message, uint32_t interface_index, const Take& take);
    Outcome Set(uint8_t message, uint32_t interface_index, const Put& put);

    // By ioctl; empty where the driver tells nothing.
    DriverNames DriverOf(const std::string& interface_name);
    Counters CountersOf(const std::string& interface_name);
    Outcome RestartAutonegotiation(const std::string& interface_name);
    /// A structure of ethtool's, which begins with its command.
    Outcome Command(const std::string& interface_name, void* command);

  private:
    Outcome Ask(uint8_t message, uint16_t flags, uint32_t interface_index, const Put& put,
                const Take& take);
    Outcome LearnFamily();

    Netlink generic{NETLINK_GENERIC};
    uint16_t family = 0;
};

}  // namespace zmagent
