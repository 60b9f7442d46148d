/// Filter rules in the plain form that the kernel's tables are written from and read into: only
/// what these can match and do, each thing said in one way.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "records/x4_rule.h"
#include "zwmgmt/records/filter.h"

namespace zmagent {

/// Where a member of a rule stands in the kernel's tables.
struct MatchRow {
    static constexpr size_t kNowhere = SIZE_MAX;
    enum Family { kAny, kIpv4, kIpv6 };

    const zwmgmt::X4Field* field;
    Family family;       // of the rules that have it
    uint8_t protocol;    // of the rules that have it; 0: any
    uint16_t key, mask;  // attributes of tc flower; without a mask it is matched whole
    size_t width;        // bytes, in network order
    size_t ether, ip;    // offsets in the flow unions of receive rules, without and with IP
};
std::span<const MatchRow> MatchRows();

/// Whether the rule has it, there.
bool Applies(const MatchRow& row, const _FilterX4& rule);
/// Whether rules of this family and this protocol have it there.
bool IsFor(const MatchRow& row, const _FilterX4& rule);

/// A value and the bits of it that are matched, of which the first `width` bytes count.
struct MatchBytes {
    std::array<uint8_t, 16> value = {};
    std::array<uint8_t, 16> mask = {};
};
MatchBytes BytesOf(const MatchRow& row, const _FilterX4& rule);
/// Without a mask nothing is put.
void PutBytes(const MatchRow& row, const MatchBytes& bytes, _FilterX4* rule);
bool IsWhole(const MatchRow& row, const MatchBytes& bytes);

inline bool Has(const _FilterX4& rule, uint32_t bits) { return (rule.present & bits) != 0; }
bool IsIp(const _FilterX4& rule);
void SetIp(_FilterX4* rule, bool ipv6);

inline constexpr uint32_t kPass = 1;
inline constexpr uint32_t kDrop = 2;

// The parts of a VLAN tag.
inline constexpr uint32_t kVlanIds = 0x0FFF;
inline constexpr uint32_t kVlanPriorities = 0xE000;
inline constexpr int kVlanPriorityShift = 13;

/// Of a sound rule: its plain form, or why it has none, and *rule is left as it is. Location and
/// port are no part of it.
std::string MakePlain(_FilterX4* rule);
bool AreEqual(const _FilterX4& plain, const _FilterX4& other);

/// X3 rules are X4 rules with fewer keys. *reason: why not; then the rule says nothing.
_FilterX4 FromX3(const _Filter& rule, std::string* reason);
_Filter ToX3(const _FilterX4& plain);

}  // namespace zmagent
