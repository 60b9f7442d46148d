/// The Ethernet interfaces of the host, and the adapters that they are ports of.
#pragma once

#include <linux/if_link.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux_agent/ethtool.h"
#include "linux_agent/netlink.h"

namespace zmagent {

/// Sockets for asking the kernel; one thread at a time.
struct Kernel {
    Netlink route{NETLINK_ROUTE};
    Ethtool ethtool;
};

struct Interface {
    uint32_t index;
    std::string name;
    uint32_t mtu;
    bool running;     // up, and so is what it stands on
    std::string bus;  // of the device that it belongs to: "pci", "virtio"; empty: of none
    std::string device;
    rtnl_link_stats64 counters;
};

/// What carries a location: a PCI function, or an interface that has none.
struct Adapter {
    std::string location;  // "0000:05:00.0", or the interface's name
    bool on_pci;
    std::vector<Interface> ports;  // their places are the port instances
};

/// Those that are neither loopback nor without Ethernet.
std::vector<Interface> Interfaces(Kernel& kernel);
std::optional<Interface> InterfaceAt(Kernel& kernel, uint32_t index);
Outcome SetMtu(Kernel& kernel, const Interface& interface, uint32_t mtu);

/// Sorted by location; with virtual ones those that are on no PCI function, too.
std::vector<Adapter> Adapters(Kernel& kernel, bool virtual_interfaces);

/// One of them.
std::optional<Adapter> AdapterAt(Kernel& kernel, bool virtual_interfaces,
                                 std::string_view location);

/// What PCI says of a function.
struct PciFunction {
    uint32_t vendor;
    uint32_t device;
    uint32_t device_class;
    uint32_t interrupt;
};
PciFunction PciFunctionAt(const std::string& location);
/// The name that the list of PCI ids gives it.
std::string PciName(const PciFunction& function);

/// The module that drives the interface's device; empty where there is none.
std::string ModuleOf(const Interface& interface);

}  // namespace zmagent
