#include "simulator/judge.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>

#include "filters/combinations.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/records/driver.h"

namespace zmsim {
namespace {

using zwmgmt::FixedText;

template <class Member, class Record>
Member MemberOf(const Record& record, size_t offset) {
    Member member;
    std::memcpy(&member, reinterpret_cast<const char*>(&record) + offset, sizeof(member));
    return member;
}

bool IsOneOfBytes(uint8_t byte, std::initializer_list<int> allowed) {
    return std::ranges::find(allowed, byte) != allowed.end();
}

bool AreZero(std::span<const uint8_t> bytes) {
    return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0; });
}

// --- Filter rules

/// A number of a rule, judged where its present bit is set.
struct NumberRow {
    uint32_t bit;
    size_t offset;
    int64_t least;
    int64_t most;
};

constexpr NumberRow kX3Numbers[] = {
    {0x2, offsetof(_Filter, source_prefix), 0, 32},
    {0x4, offsetof(_Filter, source_port), 0, 65'535},
    {0x10, offsetof(_Filter, destination_port), 0, 65'535},
    {0x20, offsetof(_Filter, vlan_id), 1, kHighestVlan},
    {0x40, offsetof(_Filter, vlan_priority), 0, 7},
    {0x80, offsetof(_Filter, mac_index), 0, 15},
    {0x100, offsetof(_Filter, protocol), 1, 4},
    {0x200, offsetof(_Filter, queue), 0, 7},
    {0x400, offsetof(_Filter, action), 1, 2},
};
constexpr uint32_t kX3Bits = 0x7FF;
constexpr uint32_t kX3Source = 0x1;
constexpr uint32_t kX3Prefix = 0x2;

constexpr NumberRow kX4Numbers[] = {
    {0x10000, offsetof(_FilterX4, action), 1, 4}, {0x20000, offsetof(_FilterX4, vlan_action), 1, 3},
    {0x80000, offsetof(_FilterX4, prio), 0, 7},   {0x100000, offsetof(_FilterX4, queue), 0, 1023},
    {0x400000, offsetof(_FilterX4, eport), 0, 7},
};
constexpr uint32_t kX4Bits = 0xFFF'FFFF;

/// A value and mask of a rule.
struct FieldRow {
    uint32_t bit;
    size_t offset;
    int bits;
};

constexpr FieldRow kX4Fields[] = {
    {0x1, offsetof(_FilterX4, fcoe), 1},         {0x2, offsetof(_FilterX4, port), 3},
    {0x4, offsetof(_FilterX4, vlan), 16},        {0x8, offsetof(_FilterX4, ovlan), 16},
    {0x10, offsetof(_FilterX4, pf), 8},          {0x20, offsetof(_FilterX4, vf), 8},
    {0x40, offsetof(_FilterX4, tos), 8},         {0x80, offsetof(_FilterX4, protocol), 8},
    {0x100, offsetof(_FilterX4, ethertype), 16}, {0x200, offsetof(_FilterX4, macmatch), 9},
    {0x400, offsetof(_FilterX4, mpshittype), 3}, {0x800, offsetof(_FilterX4, fragmentation), 1},
    {0x1000, offsetof(_FilterX4, lport), 16},    {0x2000, offsetof(_FilterX4, fport), 16},
};

/// What is not given is not judged.
template <class Number, class Rule>
bool InRange(const Rule& rule, const NumberRow& row) {
    const int64_t number = MemberOf<Number>(rule, row.offset);
    return (rule.present & row.bit) == 0 || (row.least <= number && number <= row.most);
}

/// A mask of all ones is what a rule without one has.
bool Fits(const _FilterX4& rule, const FieldRow& row) {
    if ((rule.present & row.bit) == 0) return true;
    const auto field = MemberOf<FilterField>(rule, row.offset);
    return field.value >> row.bits == 0 &&
           (field.mask >> row.bits == 0 || field.mask == UINT32_MAX);
}

/// The mask of a prefix length that the family can have, and nothing behind the address.
bool IsPrefix(const FilterAddress& address, bool ipv6) {
    const size_t width = ipv6 ? 16 : 4;
    size_t full = 0;
    while (full < width && address.mask[full] == 0xFF) ++full;
    if (full < width) {
        const auto inverse = static_cast<uint8_t>(~address.mask[full]);
        if ((inverse & (inverse + 1)) != 0) return false;
        ++full;
    }
    return AreZero(std::span(address.mask).subspan(full)) &&
           AreZero(std::span(address.address).subspan(width));
}

/// Twelve hexadecimal digits, in pairs with or without separators.
bool IsMac(std::string_view text) {
    if (text.size() != 12 && text.size() != 17) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool separator = text.size() == 17 && i % 3 == 2;
        constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
        const std::string_view allowed = separator ? ":-" : kDigits;
        if (allowed.find(text[i]) == allowed.npos) return false;
    }
    return true;
}

/// One line of a listing.
bool IsPrintable(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return ' ' <= c && c <= '~'; });
}

// --- Policies

bool IsSound(const PolicyInstruction& step, size_t position, size_t count) {
    const auto leads_on = [&](uint8_t target) {
        return target == zwmgmt::kPolicyAccept || target == zwmgmt::kPolicyReject ||
               (target > position && target < count);
    };
    const auto* value = reinterpret_cast<const uint8_t*>(&step.value);
    const auto* mask = reinterpret_cast<const uint8_t*>(&step.mask);
    for (size_t i = 0; i < sizeof(step.value); ++i) {
        if ((value[i] & ~mask[i]) != 0) return false;  // could never match
    }
    return step.used == 1 && leads_on(step.on_match) && leads_on(step.on_miss) &&
           step.mask.vlan <= 0xFFF && step.mask.version <= 0xF && step.mask.open <= 3 &&
           AreZero(step.reserved45);
}

bool IsSound(const PolicySettings& settings) {
    for (const uint8_t flag :
         {settings.ddp, settings.coalesce, settings.timestamp, settings.sack}) {
        if (!IsOneOfBytes(flag, {0, 1, 0xFF})) return false;
    }
    const uint16_t traffic_class = settings.traffic_class;
    return settings.offload <= 1 && IsOneOfBytes(settings.congestion, {0, 1, 2, 3, 0xFF}) &&
           settings.bind >= -3 &&
           (traffic_class == 0xFFFF || (1 <= traffic_class && traffic_class <= 7));
}

// --- Names

bool IsHostCharacter(char c) {
    return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '-' ||
           c == '_';
}

/// Labels between single dots; the last dot may be the root's.
bool IsHostName(std::string_view name) {
    if (name.ends_with('.')) name.remove_suffix(1);
    size_t length = 0;
    for (const char c : name) {
        if (c == '.' ? length == 0 : !IsHostCharacter(c)) return false;
        length = c == '.' ? 0 : length + 1;
    }
    return length != 0;
}

}  // namespace

bool IsSound(const _Filter& rule) {
    const bool bare_prefix = (rule.present & (kX3Source | kX3Prefix)) == kX3Prefix;
    return (rule.present & ~kX3Bits) == 0 && !bare_prefix &&
           std::ranges::all_of(kX3Numbers,
                               [&](const NumberRow& row) { return InRange<int32_t>(rule, row); });
}

bool IsSound(const _FilterX4& rule) {
    const auto given = [&](uint32_t bit) { return (rule.present & bit) != 0; };
    const bool ipv6 = rule.address_family == 1;
    if ((rule.present & ~kX4Bits) != 0 || rule.address_family > (given(kHasFamily) ? 1u : 0u)) {
        return false;
    }
    const bool in_range =
        std::ranges::all_of(kX4Numbers,
                            [&](const NumberRow& row) { return InRange<uint32_t>(rule, row); }) &&
        std::ranges::all_of(kX4Fields, [&](const FieldRow& row) { return Fits(rule, row); });
    if (!in_range || (given(0x10000) && rule.action == 3)) return false;
    const bool tags = given(0x20000) && rule.vlan_action != 1;
    if (tags && (rule.vlan_value < 1 || rule.vlan_value > kHighestVlan)) return false;
    const std::string_view combination = FixedText(rule.combination);
    return (!given(0x4000) || IsPrefix(rule.lip, ipv6)) &&
           (!given(0x8000) || IsPrefix(rule.fip, ipv6)) &&
           (!given(0x1000000) || IsMac(FixedText(rule.smac))) &&
           (!given(0x2000000) || IsMac(FixedText(rule.dmac))) &&
           (!given(0x8000000) || IsPrintable(FixedText(rule.vnic_id))) &&
           (combination.empty() || zwmgmt::IsFilterCombination(combination));
}

bool IsSound(const _OfldPolicy& policy) {
    size_t count = 0;
    while (count < zwmgmt::kPolicyInstructions && policy.program[count].used != 0) ++count;
    for (size_t i = 0; i < count; ++i) {
        if (!IsSound(policy.program[i], i, count)) return false;
    }
    const auto* behind = reinterpret_cast<const uint8_t*>(policy.program + count);
    const size_t left = (zwmgmt::kPolicyInstructions - count) * sizeof(PolicyInstruction);
    return count != 0 && AreZero({behind, left}) && IsSound(policy.settings);
}

bool IsSound(const PingRequest& request, bool ping) {
    if (ping && (request.packet_count == 0 || request.timeout_ms <= 0)) return false;
    const std::string_view name = FixedText(request.target, sizeof(request.target));
    const bool dotted = name.find('.') != name.npos;
    switch (request.target_kind) {
        case zwmgmt::kPingIpv4: return AreZero(std::span(request.target).subspan(4));
        case zwmgmt::kPingIpv6: return AreZero(std::span(request.target).subspan(16));
        case zwmgmt::kPingHost: return !dotted && IsHostName(name);
        case zwmgmt::kPingDomain: return dotted && IsHostName(name);
        default: return false;
    }
}

std::string_view DriverNameOf(std::string_view package) {
    return package.substr(0, package.find_first_of("-."));
}

bool IsPackageName(std::string_view name) {
    const std::string_view driver = DriverNameOf(name);
    const bool plain = std::ranges::all_of(name, [](char c) {
        return static_cast<unsigned char>(c) >= ' ' && c != 0x7F && c != '/' && c != '\\';
    });
    return plain && !driver.empty() && driver.size() <= sizeof(DriverInfo::name);
}

}  // namespace zmsim
