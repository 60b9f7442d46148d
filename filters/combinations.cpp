#include "filters/combinations.h"

#include <algorithm>

namespace zwmgmt {
namespace {

constexpr std::string_view kCombinations[] = {
    "fragmentation, mpshittype, macmatch, ethertype, port, fcoe",
    "fragmentation, mpshittype, macmatch, protocol, tos, port, fcoe",
    "fragmentation, mpshittype, macmatch, vlan, port, fcoe",
    "fragmentation, mpshittype, macmatch, vnic_id, port, fcoe",
    "fragmentation, mpshittype, ethertype, protocol, tos",
    "fragmentation, mpshittype, ethertype, protocol, port, fcoe",
    "fragmentation, mpshittype, ethertype, tos, port, fcoe",
    "fragmentation, mpshittype, protocol, vlan, port, fcoe",
    "fragmentation, mpshittype, protocol, vnic_id, port, fcoe",
    "fragmentation, mpshittype, tos, vlan, port, fcoe",
    "fragmentation, mpshittype, tos, vnic_id, port, fcoe",
    "fragmentation, macmatch, ethertype, protocol, fcoe",
    "fragmentation, macmatch, ethertype, tos, fcoe",
    "fragmentation, macmatch, protocol, vlan, fcoe",
    "fragmentation, macmatch, protocol, vnic_id, fcoe",
    "fragmentation, macmatch, tos, vlan, fcoe",
    "fragmentation, macmatch, tos, vnic_id, fcoe",
    "fragmentation, ethertype, protocol, tos, port",
    "fragmentation, ethertype, protocol, tos, fcoe",
    "fragmentation, ethertype, vlan, fcoe",
    "fragmentation, ethertype, vnic_id, fcoe",
    "fragmentation, protocol, tos, vlan, fcoe",
    "fragmentation, protocol, tos, vnic_id, fcoe",
    "fragmentation, vlan, vnic_id, fcoe",
    "mpshittype, macmatch, ethertype, protocol",
    "mpshittype, macmatch, ethertype, tos",
    "mpshittype, ethertype, protocol, tos, fcoe",
    "mpshittype, ethertype, vlan",
    "mpshittype, ethertype, vnic_id",
    "mpshittype, protocol, tos, vlan",
    "mpshittype, protocol, tos, vnic_id",
    "macmatch, ethertype, protocol, port",
    "macmatch, ethertype, tos, port",
    "ethertype, protocol, tos, port, fcoe",
    "ethertype, vlan, port",
    "ethertype, vnic_id, port",
    "protocol, tos, vlan, port",
    "protocol, tos, vnic_id, port",
};

}  // namespace

std::span<const std::string_view> FilterCombinations() { return kCombinations; }

bool IsFilterCombination(std::string_view text) {
    return std::ranges::find(kCombinations, text) != std::end(kCombinations);
}

}  // namespace zwmgmt
