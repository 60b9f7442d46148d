/// What a client may send to the agent of a Linux host: the kernel is asked in a network of the
/// process's own, packages go to a folder of its own, and every request has its line in the log.
#include <sched.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "linux_agent/audit.h"
#include "linux_agent/installer.h"
#include "linux_agent/kernel_host.h"
#include "linux_agent/probes.h"
#include "records/messages.h"
#include "zwmgmt/fixed_text.h"
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
};

/// A pair of interfaces, where the process may have a network of its own.
bool MakeNetwork() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
    return std::system("ip link add fuzz0 type veth peer name fuzz1") == 0;
}

void Require(bool holds) {
    if (!holds) std::abort();
}

/// Takes the packages of an agent into a folder that goes with it.
struct Installing {
    Installing() {
        char name[] = "/tmp/agent_fuzz_XXXXXX";
        std::string error;
        Require(audit.Open("/dev/null", &error) && mkdtemp(name) != nullptr);
        config.spool = name;
        config.install_hook = "/usr/bin/true";
        config.package_most_bytes = 1u << 16;
    }
    ~Installing() { std::filesystem::remove_all(config.spool); }

    zmagent::Audit audit;
    zmagent::Config config;
    zmagent::Installer installer{audit};
};

/// Questions about packages: a byte chooses which, and how much of what follows comes with it.
void AskOfPackages(std::span<const uint8_t> bytes) {
    using zmagent::Asked;
    static Installing all;
    zmagent::Delivery delivery(all.installer, all.config);
    uint64_t room = 0;  // that pieces may take
    while (!bytes.empty()) {
        const uint8_t chosen = bytes[0];
        const auto asked = static_cast<Asked>(static_cast<uint8_t>(Asked::kFile) + chosen % 4);
        const size_t most = asked == Asked::kFile ? sizeof(zmagent::FileRecord) : chosen / 4;
        const auto with = bytes.subspan(1, std::min(most, bytes.size() - 1));
        bytes = bytes.subspan(1 + with.size());
        zmagent::FileRecord record = {};
        std::vector<uint8_t> data(with.begin(), with.end());
        if (asked == Asked::kFile && chosen < 0xC0) {
            std::ranges::copy(data, reinterpret_cast<uint8_t*>(&record));
            if (chosen < 0x80) record.size &= 0x7F;
            if (chosen < 0x40) zwmgmt::SetFixedText(record.name, std::string_view("package"));
            const auto* whole = reinterpret_cast<const uint8_t*>(&record);
            data.assign(whole, whole + sizeof(record));
        }
        const auto reply = delivery.Answer(asked, data, "user", "::1", 0);
        const bool taken = reply.status == 0;
        Require(reply.data.empty());
        Require(asked != Asked::kPiece || !taken || data.size() <= room);
        if (asked == Asked::kPiece && taken) room -= data.size();
        if (asked != Asked::kPiece || !taken)
            room = asked == Asked::kFile && taken ? record.size : 0;
    }
    all.installer.OutcomeOf("user");
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
    AskOfPackages({bytes, size});
    return 0;
}
