#include "linux_agent/own_path.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <span>
#include <vector>

namespace zmagent {
namespace {

using zwmgmt::platform::Address;
using zwmgmt::platform::AddressSize;
using zwmgmt::platform::Family;

uint8_t SystemFamily(const Address& address) {
    return address.family == Family::kIpv4 ? AF_INET : AF_INET6;
}

/// The interfaces that have the address; false where the kernel does not tell.
bool AddHolders(Kernel& kernel, const Address& address, std::set<uint32_t>* interfaces) {
    ifaddrmsg header = {};
    header.ifa_family = SystemFamily(address);
    Request request(RTM_GETADDR, NLM_F_DUMP, &header, sizeof(header));
    const auto take = [&](const nlmsghdr& reply) {
        if (mnl_nlmsg_get_payload_len(&reply) < sizeof(ifaddrmsg)) return;
        const auto* row = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(&reply));
        const Attributes attributes(reply, sizeof(ifaddrmsg));
        // Of a line between two points IFA_ADDRESS is the other side's.
        const uint16_t own = attributes.Has(IFA_LOCAL) ? IFA_LOCAL : IFA_ADDRESS;
        const auto bytes = attributes.Copy<std::array<uint8_t, sizeof(address.bytes)>>(own);
        if (std::memcmp(bytes.data(), address.bytes, AddressSize(address.family)) == 0) {
            interfaces->insert(row->ifa_index);
        }
    };
    return kernel.route.Ask(request, take).Done();
}

/// The interface that packets to the client leave by.
bool AddWayOut(Kernel& kernel, const Ends& ends, std::set<uint32_t>* interfaces) {
    const size_t size = AddressSize(ends.client.family);
    rtmsg header = {};
    header.rtm_family = SystemFamily(ends.client);
    header.rtm_dst_len = static_cast<uint8_t>(size * 8);
    header.rtm_src_len = header.rtm_dst_len;
    Request request(RTM_GETROUTE, 0, &header, sizeof(header));
    request.Bytes(RTA_DST, std::span(ends.client.bytes).first(size));
    request.Bytes(RTA_SRC, std::span(ends.host.bytes).first(size));
    if (ends.client.zone != 0) request.Number32(RTA_OIF, ends.client.zone);
    const auto take = [&](const nlmsghdr& reply) {
        const Attributes attributes(reply, sizeof(rtmsg));
        if (attributes.Has(RTA_OIF)) interfaces->insert(attributes.Number32(RTA_OIF));
    };
    return kernel.route.Ask(request, take).Done();
}

/// One interface stands on another.
struct Footing {
    uint32_t upper;
    uint32_t lower;
};

bool AddFootings(Kernel& kernel, std::vector<Footing>* footings) {
    const ifinfomsg header = {};
    Request request(RTM_GETLINK, NLM_F_DUMP, &header, sizeof(header));
    const auto take = [&](const nlmsghdr& reply) {
        if (mnl_nlmsg_get_payload_len(&reply) < sizeof(ifinfomsg)) return;
        const auto* link = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&reply));
        const auto index = static_cast<uint32_t>(link->ifi_index);
        const Attributes attributes(reply, sizeof(ifinfomsg));
        if (attributes.Has(IFLA_MASTER)) {
            footings->push_back({.upper = attributes.Number32(IFLA_MASTER), .lower = index});
        }
        // One end of a cable does not stand on the other, nor on what is in another namespace.
        const bool is_cable = attributes.Nest(IFLA_LINKINFO).Text(IFLA_INFO_KIND) == "veth";
        if (attributes.Has(IFLA_LINK) && !attributes.Has(IFLA_LINK_NETNSID) && !is_cable) {
            footings->push_back({.upper = index, .lower = attributes.Number32(IFLA_LINK)});
        }
    };
    return kernel.route.Ask(request, take).Done();
}

}  // namespace

std::optional<std::set<uint32_t>> InterfacesBetween(Kernel& kernel, const Ends& ends) {
    std::set<uint32_t> interfaces;
    std::vector<Footing> footings;
    if (!AddHolders(kernel, ends.host, &interfaces) || !AddWayOut(kernel, ends, &interfaces) ||
        !AddFootings(kernel, &footings)) {
        return std::nullopt;
    }
    for (size_t known = 0; known != interfaces.size();) {
        known = interfaces.size();
        for (const Footing& footing : footings) {
            if (interfaces.contains(footing.upper)) interfaces.insert(footing.lower);
        }
    }
    return interfaces;
}

}  // namespace zmagent
