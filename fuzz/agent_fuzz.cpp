/// What a client may send to the agent of a Linux host: the kernel is asked in a network of the
/// process's own, and every request has its line in the log.
#include <sched.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "linux_agent/audit.h"
#include "linux_agent/kernel_host.h"
#include "linux_agent/probes.h"
#include "records/messages.h"
#include "zwmgmt/vocabulary.h"

namespace {

constexpr char kInterface[] = "fuzz0";

struct Place {
    uint16_t opcode;
    size_t offset;  // of the interface's name
};

constexpr Place kPlaces[] = {
    {zwmgmt::kSetPortProperty, offsetof(PortRequest, pci_bus_location)},
    {zwmgmt::kGetPortStats, offsetof(PortRequest, pci_bus_location)},
    {zwmgmt::kSetMtu, offsetof(MtuRequest, interface_name)},
    {zwmgmt::kListPorts, 0},
    {zwmgmt::kAddFilterX3, offsetof(_Filter, interface_name)},
    {zwmgmt::kAddFilterX4, offsetof(_FilterX4, pci_bus_location)},
    {zwmgmt::kListFiltersX4, offsetof(FilterListRequest, pci_bus_location)},
};

/// A pair of interfaces, where the process may have a network of its own.
bool MakeNetwork() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    return std::system("ip link add fuzz0 type veth peer name fuzz1") == 0;
}

void Require(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const bool has_network = MakeNetwork();
    static zmagent::KernelHost host({.virtual_interfaces = true, .drivers = {}});
    if (size < 1) return 0;
    // Messages that there are, most of them with a whole record about an interface that there is.
    const auto forms = zwmgmt::MessageForms();
    const zwmgmt::MessageForm& form = forms[bytes[0] % forms.size()];
    const uint8_t service = form.service;
    const uint16_t opcode = form.opcode;
    std::vector<uint8_t> data(bytes + 1, bytes + size);
    if (form.request.record != nullptr && bytes[0] < 0xC0) data.resize(form.request.record->size);
    for (const Place& place : kPlaces) {
        if (place.opcode != opcode || data.size() < place.offset + sizeof(kInterface)) continue;
        std::memcpy(&data[place.offset], kInterface, sizeof(kInterface));
    }
    const std::string line = zmagent::LineOf(zmagent::EntryOf(service, opcode, data));
    Require(line.find('\n') == line.npos && line.find('\x1b') == line.npos);
    if (has_network) {
        const auto reply = host.Answer(service, opcode, data);
        Require(reply.status == 0 || reply.data.empty());
    }
    const std::string text(data.begin(), data.end());
    const auto trace = zmagent::TraceReply(text);
    Require(trace.data.size() % sizeof(_NextHopRouter) == 0);
    zmagent::PingReply(text);
    return 0;
}
