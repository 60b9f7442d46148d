#include "agent/judge.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>

#include "filters/combinations.h"
#include "filters/x3_rules.h"
#include "filters/x4_rules.h"
#include "records/x3_rule.h"
#include "records/x4_rule.h"
#include "zwmgmt/fixed_text.h"

namespace zwmgmt::agent {
namespace {

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

// --- Filter rules: what the rows of their keys say that agents take

/// What is not given is not judged.
template <class Rule>
bool IsTaken(const Rule& rule, const Argument& row) {
    if ((rule.present & row.bit) == 0) return true;
    switch (row.form) {
        case Form::kNumber:
            return row.rule.Allows(row.is_signed ? int64_t{MemberOf<int32_t>(rule, row.offset)}
                                                 : int64_t{MemberOf<uint32_t>(rule, row.offset)});
        case Form::kWord:
            return std::ranges::any_of(row.words, [&](const Word& word) {
                return word.number == MemberOf<uint32_t>(rule, row.offset);
            });
        case Form::kMasked: {
            const auto field = MemberOf<FilterField>(rule, row.offset);
            return IsHeeded(row, field.value, field.mask);
        }
        default: return true;
    }
}

/// Whether what was given is what the rows know, and as they say.
template <class Rule>
bool AreTaken(const Rule& rule, std::span<const Argument> rows, uint32_t further_bits) {
    uint32_t bits = further_bits;
    for (const Argument& row : rows) bits |= row.bit;
    return (rule.present & ~bits) == 0 &&
           std::ranges::all_of(rows, [&](const Argument& row) { return IsTaken(rule, row); });
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
        return target == kPolicyAccept || target == kPolicyReject ||
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
    const bool has_prefix = (rule.present & X3Bit("source_prefix")) != 0;
    if (has_prefix && ((rule.present & X3Bit("source_address")) == 0 ||
                       !kX3PrefixLengths.Allows(rule.source_prefix))) {
        return false;
    }
    return AreTaken(rule, X3Arguments(), X3Bit("source_prefix"));
}

bool IsSound(const _FilterX4& rule) {
    const auto given = [&](uint32_t bit) { return (rule.present & bit) != 0; };
    const bool ipv6 = rule.address_family == 1;
    if (rule.address_family > (given(kX4FamilyBits) ? 1u : 0u)) return false;
    if (!AreTaken(rule, X4Arguments(), 0)) return false;
    const bool tags = given(X4Bit("vlan_action")) && rule.vlan_action != 1;
    if (tags && (rule.vlan_value < 1 || rule.vlan_value > kHighestVlan)) return false;
    const std::string_view combination = FixedText(rule.combination);
    return (!given(X4Bit("lip")) || IsPrefix(rule.lip, ipv6)) &&
           (!given(X4Bit("fip")) || IsPrefix(rule.fip, ipv6)) &&
           (!given(X4Bit("smac")) || IsMac(FixedText(rule.smac))) &&
           (!given(X4Bit("dmac")) || IsMac(FixedText(rule.dmac))) &&
           (!given(X4Bit("vnic_id")) || IsPrintable(FixedText(rule.vnic_id))) &&
           (combination.empty() || IsFilterCombination(combination));
}

bool IsSound(const _OfldPolicy& policy) {
    size_t count = 0;
    while (count < kPolicyInstructions && policy.program[count].used != 0) ++count;
    for (size_t i = 0; i < count; ++i) {
        if (!IsSound(policy.program[i], i, count)) return false;
    }
    const auto* behind = reinterpret_cast<const uint8_t*>(policy.program + count);
    const size_t left = (kPolicyInstructions - count) * sizeof(PolicyInstruction);
    return count != 0 && AreZero({behind, left}) && IsSound(policy.settings);
}

bool IsSound(const PingRequest& request, bool ping) {
    if (ping && (request.packet_count == 0 || request.timeout_ms <= 0)) return false;
    const std::string_view name = FixedText(request.target, sizeof(request.target));
    const bool dotted = name.find('.') != name.npos;
    switch (request.target_kind) {
        case kPingIpv4: return AreZero(std::span(request.target).subspan(4));
        case kPingIpv6: return AreZero(std::span(request.target).subspan(16));
        case kPingHost: return !dotted && IsHostName(name);
        case kPingDomain: return dotted && IsHostName(name);
        default: return false;
    }
}

}  // namespace zwmgmt::agent
