#include "linux_agent/interfaces.h"

#include <linux/if_arp.h>
#include <linux/rtnetlink.h>

extern "C" {
#include <pci/pci.h>
}

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <tuple>

namespace zmagent {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kEthernetClass = 0x0200;  // the upper bytes of a PCI class
constexpr size_t kMostPorts = 256;           // of an adapter: instances are bytes
const fs::path kPciFunctions = "/sys/bus/pci/devices";

/// Whether a text of the kernel's names one entry of a folder.
bool IsEntryName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

/// DOMAIN:BUS:DEVICE.FUNCTION, in hexadecimal digits.
bool IsPciLocation(std::string_view text) {
    if (text.size() < 12 || text.size() > 15) return false;  // of 16 bits and of 32
    constexpr std::string_view kEnd = ":BB:DD.F";
    const std::string_view end = text.substr(text.size() - kEnd.size());
    const auto is_digit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    return std::ranges::all_of(text.substr(0, text.size() - end.size()), is_digit) &&
           std::ranges::equal(end, kEnd, [&](char c, char expected) {
               return std::isupper(static_cast<unsigned char>(expected)) != 0 ? is_digit(c)
                                                                              : c == expected;
           });
}

/// A number that a file of the kernel's holds, decimal or with 0x; 0 where there is none.
uint32_t NumberIn(const fs::path& file) {
    std::ifstream stream(file);
    std::string text(32, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    std::string_view digits = text;
    const bool hexadecimal = digits.starts_with("0x");
    if (hexadecimal) digits.remove_prefix(2);
    uint32_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
    return number;
}

fs::path DeviceFolder(const Interface& interface) {
    if (!IsEntryName(interface.bus) || !IsEntryName(interface.device)) return {};
    return fs::path("/sys/bus") / interface.bus / "devices" / interface.device;
}

/// The Ethernet function that the interface's device is or, as with virtio, hangs on; else empty.
std::string PciLocationOf(const Interface& interface) {
    std::error_code error;
    const fs::path folder = DeviceFolder(interface);
    if (folder.empty()) return {};
    // Where the device stands among all: /sys/devices/pci0000:00/0000:00:03.0/virtio2
    fs::path path = fs::read_symlink(folder, error);
    while (path.has_parent_path() && !IsPciLocation(path.filename().string())) {
        path = path.parent_path();
    }
    const std::string location = path.filename().string();
    const bool ethernet =
        IsPciLocation(location) &&
        NumberIn(kPciFunctions / path.filename() / "class") >> 8 == kEthernetClass;
    return ethernet ? location : std::string();
}

uint32_t PlaceOf(const Interface& interface) {
    if (!IsEntryName(interface.name)) return 0;
    return NumberIn(DeviceFolder(interface) / "net" / interface.name / "dev_port");
}

Request LinkRequest(uint16_t type, uint16_t flags, uint32_t index) {
    ifinfomsg header = {};
    header.ifi_index = static_cast<int>(index);
    return {type, flags, &header, sizeof(header)};
}

std::vector<Interface> Ask(Kernel& kernel, Request&& request) {
    std::vector<Interface> interfaces;
    kernel.route.Ask(request, [&](const nlmsghdr& reply) {
        if (mnl_nlmsg_get_payload_len(&reply) < sizeof(ifinfomsg)) return;
        const auto* link = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&reply));
        const Attributes attributes(reply, sizeof(ifinfomsg));
        if (link->ifi_type != ARPHRD_ETHER || (link->ifi_flags & IFF_LOOPBACK) != 0) return;
        interfaces.push_back({.index = static_cast<uint32_t>(link->ifi_index),
                              .name = attributes.Text(IFLA_IFNAME),
                              .mtu = attributes.Number32(IFLA_MTU),
                              .running = (link->ifi_flags & IFF_RUNNING) != 0,
                              .bus = attributes.Text(IFLA_PARENT_DEV_BUS_NAME),
                              .device = attributes.Text(IFLA_PARENT_DEV_NAME),
                              .counters = attributes.Copy<rtnl_link_stats64>(IFLA_STATS64)});
    });
    return interfaces;
}

struct FreePci {
    void operator()(pci_access* access) const { pci_cleanup(access); }
};

void Ignore(char* /*message*/, ...) {}

/// The library's own ends the process; it must not return.
__attribute__((noreturn)) void GiveUp(char* /*message*/, ...) {
    throw std::runtime_error("the list of PCI ids is damaged");
}

}  // namespace

std::vector<Interface> Interfaces(Kernel& kernel) {
    return Ask(kernel, LinkRequest(RTM_GETLINK, NLM_F_DUMP, 0));
}

std::optional<Interface> InterfaceAt(Kernel& kernel, uint32_t index) {
    std::vector<Interface> found = Ask(kernel, LinkRequest(RTM_GETLINK, 0, index));
    if (found.empty()) return std::nullopt;
    return std::move(found.front());
}

Outcome SetMtu(Kernel& kernel, const Interface& interface, uint32_t mtu) {
    Request request = LinkRequest(RTM_SETLINK, NLM_F_ACK, interface.index);
    request.Number32(IFLA_MTU, mtu);
    return kernel.route.Ask(request);
}

std::vector<Adapter> Adapters(Kernel& kernel, bool virtual_interfaces) {
    std::map<std::string, Adapter> adapters;
    for (Interface& interface : Interfaces(kernel)) {
        const std::string function = PciLocationOf(interface);
        if (function.empty() && !virtual_interfaces) continue;
        const std::string& location = function.empty() ? interface.name : function;
        Adapter& adapter = adapters[location];
        adapter.location = location;
        adapter.on_pci = !function.empty();
        adapter.ports.push_back(std::move(interface));
    }
    std::vector<Adapter> sorted;
    for (auto& [location, adapter] : adapters) {
        if (adapter.ports.size() > 1) {
            std::ranges::sort(adapter.ports, {}, [](const Interface& port) {
                return std::tuple(PlaceOf(port), port.name);
            });
        }
        if (adapter.ports.size() > kMostPorts) adapter.ports.resize(kMostPorts);
        sorted.push_back(std::move(adapter));
    }
    std::stable_partition(sorted.begin(), sorted.end(), std::mem_fn(&Adapter::on_pci));
    return sorted;
}

std::optional<Adapter> AdapterAt(Kernel& kernel, bool virtual_interfaces,
                                 std::string_view location) {
    if (!IsPciLocation(location)) {
        // It is an interface's name, and the others, of which there may be thousands, are not
        // asked.
        Request request = LinkRequest(RTM_GETLINK, 0, 0);
        request.Text(IFLA_IFNAME, std::string(location));
        std::vector<Interface> found = Ask(kernel, std::move(request));
        if (!virtual_interfaces || found.empty() || found.front().name != location ||
            !PciLocationOf(found.front()).empty()) {
            return std::nullopt;
        }
        return Adapter{.location = found.front().name, .on_pci = false, .ports = std::move(found)};
    }
    for (Adapter& adapter : Adapters(kernel, virtual_interfaces)) {
        if (adapter.location == location) return std::move(adapter);
    }
    return std::nullopt;
}

PciFunction PciFunctionAt(const std::string& location) {
    const fs::path folder = kPciFunctions / location;
    return {.vendor = NumberIn(folder / "vendor"),
            .device = NumberIn(folder / "device"),
            .device_class = NumberIn(folder / "class"),
            .interrupt = NumberIn(folder / "irq")};
}

std::string PciName(const PciFunction& function) try {
    const std::unique_ptr<pci_access, FreePci> access(pci_alloc());
    access->error = GiveUp;
    access->warning = Ignore;
    access->debug = Ignore;
    char name[128] = "";
    const char* found =
        pci_lookup_name(access.get(), name, sizeof(name), PCI_LOOKUP_VENDOR | PCI_LOOKUP_DEVICE,
                        function.vendor, function.device);
    return found != nullptr ? found : "";
} catch (const std::runtime_error&) {
    return {};
}

std::string ModuleOf(const Interface& interface) {
    std::error_code error;
    const fs::path folder = DeviceFolder(interface);
    if (folder.empty()) return {};
    return fs::read_symlink(folder / "driver" / "module", error).filename().string();
}

}  // namespace zmagent
