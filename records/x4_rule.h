/// A filter rule of an X4 or X5 adapter as agents list it: a text a rule, "Filter id N", then a
/// line "label: value" for each member that was given.
#pragma once

#include <iterator>

#include "records/field.h"
#include "zwmgmt/records/filter.h"

namespace zwmgmt {

struct X4Field {
    uint32_t bit;  // of `present`
    size_t offset;
    size_t width;
    const char* label;
    const char* name;
    enum Form { kMasked, kAddress, kNumber, kText } form;
    std::span<const char* const> words = {};  // of a number that stands for one
};

inline constexpr const char* kX4Families[] = {"ipv4", "ipv6"};
inline constexpr const char* kX4Actions[] = {"", "pass", "drop", "", "switch"};
inline constexpr const char* kX4Shows[] = {"", "all", "active"};
inline constexpr const char* kX4VlanActions[] = {"", "none", "insert", "rewrite"};

#define X4_AS(bit, member, label, form, ...)                                         \
    {                                                                                \
        bit, offsetof(_FilterX4, member), sizeof(_FilterX4::member), label, #member, \
            X4Field::form __VA_OPT__(, ) __VA_ARGS__                                 \
    }
#define X4(bit, member, ...) X4_AS(bit, member, #member, __VA_ARGS__)

inline constexpr X4Field kX4Fields[] = {
    X4_AS(0x800000, address_family, "ipv6", kNumber, kX4Families),
    X4(0x1, fcoe, kMasked),
    X4(0x2, port, kMasked),
    X4(0x4, vlan, kMasked),
    X4(0x8, ovlan, kMasked),
    X4(0x10, pf, kMasked),
    X4(0x20, vf, kMasked),
    X4(0x40, tos, kMasked),
    X4(0x80, protocol, kMasked),
    X4(0x100, ethertype, kMasked),
    X4(0x200, macmatch, kMasked),
    X4(0x400, mpshittype, kMasked),
    X4(0x800, fragmentation, kMasked),
    X4(0x1000, lport, kMasked),
    X4(0x2000, fport, kMasked),
    X4(0x4000, lip, kAddress),
    X4(0x8000, fip, kAddress),
    X4(0x10000, action, kNumber, kX4Actions),
    X4_AS(0x20000, vlan_action, "vlan action", kNumber, kX4VlanActions),
    X4_AS(0x20000, vlan_value, "vlan value", kNumber),
    X4(0x40000, hitcnts, kNumber),
    X4(0x80000, prio, kNumber),
    X4(0x100000, queue, kNumber),
    X4(0x200000, tcbhash, kNumber),
    X4(0x400000, eport, kNumber),
    X4(0x1000000, smac, kText),
    X4(0x2000000, dmac, kText),
    X4(0x4000000, rpttid, kNumber),
    X4(0x8000000, vnic_id, kText),
};

#undef X4
#undef X4_AS

/// The bit that says whether a member was given.
consteval uint32_t X4Bit(std::string_view member) {
    for (const X4Field& field : kX4Fields) {
        if (member == field.name) return field.bit;
    }
    throw "no such member";
}

inline constexpr Field kX4OwnFields[] = {
    ZWMGMT_FIELD(_FilterX4, pci_bus_location),
    ZWMGMT_FIELD(_FilterX4, combination),
    ZWMGMT_FIELD(_FilterX4, id),
    ZWMGMT_FIELD(_FilterX4, present, kBitsSense),
};

inline constexpr Field kX4MaskedFields[] = {ZWMGMT_FIELD(FilterField, value),
                                            ZWMGMT_FIELD(FilterField, mask, kBitsSense)};
inline constexpr Field kX4AddressFields[] = {ZWMGMT_FIELD(FilterAddress, address, kAddressSense),
                                             ZWMGMT_FIELD(FilterAddress, mask, kAddressSense)};

inline constexpr Field kX4ListFields[] = {
    ZWMGMT_FIELD(FilterListRequest, pci_bus_location),
    ZWMGMT_FIELD(FilterListRequest, show, OneOf(kX4Shows)),
};

/// Of the type and of either address: each tells the rule's family.
inline constexpr uint32_t kX4FamilyBits = X4Bit("address_family") | X4Bit("lip") | X4Bit("fip");

}  // namespace zwmgmt
