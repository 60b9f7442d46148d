#include "simulator/property_changes.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "adapters/properties.h"
#include "zwmgmt/fixed_text.h"

namespace zmsim {
namespace {

using zwmgmt::Property;

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

bool IsSet(const Property& property, uint32_t mask, uint8_t os_type, const _CardInformation& card) {
    return (mask & property.bit) != 0 && property.systems.Has(os_type) &&
           IsOneOf(property.chips, zwmgmt::FixedText(card.chip_type));
}

const char* BytesOf(const void* record, size_t offset) {
    return static_cast<const char*>(record) + offset;
}

char* BytesOf(void* record, size_t offset) { return static_cast<char*>(record) + offset; }

bool IsZero(const PortSettings& settings, const Property& property) {
    const char* bytes = BytesOf(&settings, property.offset);
    return std::all_of(bytes, bytes + property.width, [](char byte) { return byte == 0; });
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

/// Whether the request has a value for the property, and not for another one of the same bit.
bool IsGiven(const Property& property, const PortRequest& request, uint8_t os_type) {
    using zwmgmt::Form;
    if (property.form == Form::kNothing || !IsZero(request.settings, property)) return true;
    if (property.form == Form::kText || property.form == Form::kFlag ||
        property.form == Form::kSpeedDuplex) {
        return false;
    }
    return std::ranges::none_of(zwmgmt::PortProperties(), [&](const Property& other) {
        return other.bit == property.bit && other.systems.Has(os_type) &&
               !IsZero(request.settings, other);
    });
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

void Apply(const CardPropertyRequest& request, uint8_t os_type, _CardInformation* card) {
    for (const Property& property : zwmgmt::CardProperties()) {
        if (!IsSet(property, request.set_mask, os_type, *card)) continue;
        std::memcpy(BytesOf(&card->settings, property.offset),
                    BytesOf(&request.settings, property.offset), property.width);
    }
}

bool Apply(const PortRequest& request, uint8_t os_type, const _CardInformation& card,
           _PortInformation* port) {
    _PortInformation changed = *port;
    for (const Property& property : zwmgmt::PortProperties()) {
        if (!IsSet(property, request.set_mask, os_type, card)) continue;
        if (!IsRead(property, os_type)) {
            const bool its_own = FindSolarisByte(property) != nullptr;
            if (its_own && !IsZero(request.settings, property)) return false;
            continue;
        }
        if (!IsGiven(property, request, os_type)) return false;
        if (property.form == zwmgmt::Form::kNothing) continue;
        const SolarisByte* solaris = FindSolarisByte(property);
        char* target = solaris != nullptr ? BytesOf(&changed, solaris->reported)
                                          : BytesOf(&changed.settings, property.offset);
        std::memcpy(target, BytesOf(&request.settings, property.offset), property.width);
        Report(property, request.settings, os_type, &changed);
    }
    *port = changed;
    return true;
}

}  // namespace zmsim
