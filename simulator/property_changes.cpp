#include "simulator/property_changes.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "adapters/properties.h"
#include "simulator/judge.h"
#include "zwmgmt/fixed_text.h"

namespace zmsim {
namespace {

using Property = zwmgmt::Argument;

/// Solaris agents take some settings in bytes of their own, and report them in others.
struct SolarisByte {
    size_t setting;   // in PortSettings
    size_t reported;  // in _PortInformation
};

constexpr SolarisByte kSolarisBytes[] = {
    {offsetof(PortSettings, set_coalesce), offsetof(_PortInformation, coalesce)},
    {offsetof(PortSettings, set_hw_lso), offsetof(_PortInformation, hw_lso)},
    {offsetof(PortSettings, set_rx_pause), offsetof(_PortInformation, rx_pause)},
    {offsetof(PortSettings, set_tx_pause), offsetof(_PortInformation, tx_pause)},
    {offsetof(PortSettings, set_holdoff_timer_idx), offsetof(_PortInformation, holdoff_timer_idx)},
    {offsetof(PortSettings, set_holdoff_pktc_idx),
     offsetof(_PortInformation, solaris_holdoff_pktc_idx)},
    {offsetof(PortSettings, set_hw_csum), offsetof(_PortInformation, hw_csum)},
    {offsetof(PortSettings, set_accept_jumbo), offsetof(_PortInformation, accept_jumbo)},
};

const SolarisByte* FindSolarisByte(const Property& property) {
    const auto* row = std::ranges::find(kSolarisBytes, property.offset, &SolarisByte::setting);
    return row != std::end(kSolarisBytes) ? row : nullptr;
}

const char* BytesOf(const void* record, size_t offset) {
    return static_cast<const char*>(record) + offset;
}

char* BytesOf(void* record, size_t offset) { return static_cast<char*>(record) + offset; }

bool AreZero(const char* bytes, size_t width) {
    return std::all_of(bytes, bytes + width, [](char byte) { return byte == 0; });
}

/// Of two port properties with the same bit, Solaris agents read the one with a byte of its own;
/// the others know only the other one.
bool IsRead(const Property& property, uint8_t os_type) {
    const bool own_byte = FindSolarisByte(property) != nullptr;
    if (os_type != zwmgmt::kSolaris) return !own_byte;
    return own_byte || std::ranges::none_of(zwmgmt::PortProperties(), [&](const Property& other) {
               return other.bit == property.bit && FindSolarisByte(other) != nullptr;
           });
}

/// Decimal texts with bounds, which leave room for a terminator; of the others any number is one.
struct TextRow {
    size_t offset;  // in PortSettings
    int64_t least;
    int64_t most;
};

constexpr TextRow kPortTexts[] = {
    {offsetof(PortSettings, mtu), 1, kHighestMtu},
    {offsetof(PortSettings, vlan_id), 0, kHighestVlan},
};

constexpr uint32_t AllLinkModes() {
    uint32_t bits = 0;
    for (const zwmgmt::LinkMode& mode : zwmgmt::kLinkModes) bits |= mode.bits;
    return bits;
}

/// Digits and nothing behind them.
bool IsDecimal(const char* bytes, size_t width, int64_t* number) {
    const std::string_view text = zwmgmt::FixedText(bytes, width);
    const char* end = text.data() + text.size();
    return text.find_first_not_of("0123456789") == text.npos &&
           std::from_chars(text.data(), end, *number).ec == std::errc() &&
           AreZero(end, width - text.size());
}

int64_t NumberIn(const char* bytes, const Property& property) {
    uint64_t number = 0;
    std::memcpy(&number, bytes, property.width);
    const int unused = static_cast<int>(64 - 8 * property.width);
    number <<= unused;
    return property.is_signed ? static_cast<int64_t>(number) >> unused
                              : static_cast<int64_t>(number >> unused);
}

constexpr zwmgmt::Rule kOffOrOn = {0, 1};

/// Whether the bytes are a value that the property can have.
bool IsValue(const Property& property, const char* bytes, std::span<const TextRow> bounds) {
    using zwmgmt::Form;
    const int64_t number = property.width <= 8 ? NumberIn(bytes, property) : 0;
    switch (property.form) {
        case Form::kFlag:
            return AreZero(bytes + 1, property.width - 1) &&
                   (property.rule.HasRange() ? property.rule : kOffOrOn).Allows(bytes[0] - '0');
        case Form::kText:
        case Form::kNumberText: {
            int64_t text = 0;
            const auto row = std::ranges::find(bounds, property.offset, &TextRow::offset);
            if (!IsDecimal(bytes, property.width, &text)) return false;
            return row == bounds.end() ||
                   (bytes[property.width - 1] == '\0' && row->least <= text && text <= row->most);
        }
        case Form::kNumber: return property.rule.Allows(number);
        case Form::kLowByte: return property.rule.Allows(number & 0xFF);
        case Form::kLow16: return number <= 0xFFFF;
        case Form::kNothing: return true;
        case Form::kSpeedDuplex: {
            PortSettings settings;
            std::memcpy(&settings.speed_mode, bytes, property.width);
            return settings.speed_mode <= 1 && settings.duplex <= 1 &&
                   (settings.speed_mode == 1) == (settings.fixed_speed == 0);
        }
        case Form::kAdvertise: return number != 0 && (number & ~int64_t{AllLinkModes()}) == 0;
        default: return false;  // no form of a property
    }
}

std::string LinkModesText(uint32_t bits) {
    std::string text;
    for (const zwmgmt::LinkMode& mode : zwmgmt::kLinkModes) {
        const bool one_mode = (mode.bits & (mode.bits - 1)) == 0;
        if (!one_mode || (bits & mode.bits) == 0) continue;
        if (!text.empty()) text += ' ';
        text += mode.word;
    }
    return text;
}

/// What a listing shows elsewhere than in the settings themselves.
void Report(const Property& property, const PortSettings& settings, uint8_t os_type,
            _PortInformation* port) {
    if (property.form == zwmgmt::Form::kAdvertise) {
        zwmgmt::SetFixedText(port->advertised_link_modes, LinkModesText(settings.advertised_modes));
    }
    if (os_type == zwmgmt::kSolaris &&
        property.offset == offsetof(PortSettings, large_segment_offload)) {
        port->solaris_lso = settings.large_segment_offload[0] == '1';
    }
}

}  // namespace

namespace {

/// Calls `take` with each property that the request sets and this agent `reads`. False when
/// something is asked for beyond them, or a value is none.
template <class Request, class Reads, class Take>
bool ForEachSet(const Request& request, uint8_t os_type, const _CardInformation& card,
                std::span<const Property> table, std::span<const TextRow> bounds, Reads reads,
                Take take) {
    auto rest = request.settings;
    uint32_t bits = request.set_mask;
    for (const Property& property : table) {
        if ((request.set_mask & property.bit) == 0 || !property.systems.Has(os_type) ||
            !IsOneOf(property.chips, zwmgmt::FixedText(card.chip_type)) || !reads(property)) {
            continue;
        }
        if (!IsValue(property, BytesOf(&request.settings, property.offset), bounds)) return false;
        bits &= ~property.bit;
        if (property.form == zwmgmt::Form::kNothing) continue;
        std::memset(BytesOf(&rest, property.offset), 0, property.width);
        take(property);
    }
    return request.os_type == os_type && request.set_mask != 0 && bits == 0 &&
           AreZero(reinterpret_cast<const char*>(&rest), sizeof(rest));
}

}  // namespace

bool Apply(const CardPropertyRequest& request, uint8_t os_type, _CardInformation* card) {
    CardSettings changed = card->settings;
    const auto all = [](const Property&) { return true; };
    const auto take = [&](const Property& property) {
        std::memcpy(BytesOf(&changed, property.offset), BytesOf(&request.settings, property.offset),
                    property.width);
    };
    const bool sound = ForEachSet(request, os_type, *card, zwmgmt::CardProperties(), {}, all, take);
    if (sound) card->settings = changed;
    return sound;
}

bool Apply(const PortRequest& request, uint8_t os_type, const _CardInformation& card,
           _PortInformation* port) {
    _PortInformation changed = *port;
    const auto reads = [&](const Property& property) { return IsRead(property, os_type); };
    const auto take = [&](const Property& property) {
        const SolarisByte* solaris = FindSolarisByte(property);
        char* target = solaris != nullptr ? BytesOf(&changed, solaris->reported)
                                          : BytesOf(&changed.settings, property.offset);
        std::memcpy(target, BytesOf(&request.settings, property.offset), property.width);
        Report(property, request.settings, os_type, &changed);
    };
    const bool sound =
        ForEachSet(request, os_type, card, zwmgmt::PortProperties(), kPortTexts, reads, take);
    if (sound) *port = changed;
    return sound;
}

}  // namespace zmsim
