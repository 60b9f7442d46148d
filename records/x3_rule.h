/// A filter rule of an X3 adapter: its members, and the bits of `present` that say which were
/// given.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/filter.h"

namespace zwmgmt {

inline constexpr const char* kX3Protocols[] = {"", "tcp", "udp", "frag", "any"};
inline constexpr const char* kX3Actions[] = {"", "pass", "drop"};

#define X3(member, bit, ...)                                                                     \
    MakeField<decltype(_Filter::member)>(#member, offsetof(_Filter, member), Sense(__VA_ARGS__), \
                                         bit)

inline constexpr auto kX3RuleFields = std::to_array<Field>({
    X3(interface_name, 0),
    X3(id, 0),
    X3(source_address, 0x1, kAddressSense),
    X3(source_prefix, 0x2, Plain("bits")),
    X3(destination_address, 0x8, kAddressSense),
    X3(source_port, 0x4),
    X3(destination_port, 0x10),
    X3(vlan_id, 0x20),
    X3(vlan_priority, 0x40),
    X3(mac_index, 0x80),
    X3(protocol, 0x100, OneOf(kX3Protocols)),
    X3(queue, 0x200),
    X3(action, 0x400, OneOf(kX3Actions)),
});

#undef X3

/// What a rule has besides, as it travels.
inline constexpr auto kX3WireFields = WithPart(
    kX3RuleFields, 0,
    std::to_array<Field>({ZWMGMT_FIELD(_Filter, max), ZWMGMT_FIELD(_Filter, present, kBitsSense)}));

/// The size of a rule table: a number alone.
inline constexpr Field kRuleTableFields[] = {
    {"max", 0, sizeof(int32_t), FieldType::kSigned, Plain("rules")}};

/// The bit that says whether a member was given.
consteval uint32_t X3Bit(std::string_view member) { return FieldNamed(kX3RuleFields, member)->bit; }

}  // namespace zwmgmt
