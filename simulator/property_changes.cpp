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

/// Of two port properties with the same bit, Solaris agents read the one with a byte of its own;
/// no other agent knows those.
bool IsRead(const Property& property, uint8_t os_type) {
    const bool solaris = os_type == zwmgmt::kSolaris;
    if (FindSolarisByte(property) != nullptr || !solaris) {
        return solaris == (FindSolarisByte(property) != nullptr);
    }
    return std::ranges::none_of(zwmgmt::PortProperties(), [&](const Property& other) {
        return other.bit == property.bit && FindSolarisByte(other) != nullptr;
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
void Report(const PortSettings& settings, uint32_t mask, uint8_t os_type, _PortInformation* port) {
    constexpr uint32_t kAdvertise = 0x2000000;
    constexpr uint32_t kLso = 0x100;
    if (os_type == zwmgmt::kSolaris && (mask & kLso) != 0) {
        port->solaris_lso = settings.large_segment_offload[0] == '1';
    }
    if (os_type != zwmgmt::kWindows && (mask & kAdvertise) != 0) {
        zwmgmt::SetFixedText(port->advertised_link_modes, LinkModesText(settings.advertised_modes));
    }
}

char* BytesOf(void* record, size_t offset) { return static_cast<char*>(record) + offset; }

const char* BytesOf(const void* record, size_t offset) {
    return static_cast<const char*>(record) + offset;
}

}  // namespace

void Apply(const CardPropertyRequest& request, uint8_t os_type, _CardInformation* card) {
    for (const Property& property : zwmgmt::CardProperties()) {
        if (!IsSet(property, request.set_mask, os_type, *card)) continue;
        std::memcpy(BytesOf(&card->settings, property.offset),
                    BytesOf(&request.settings, property.offset), property.width);
    }
}

void Apply(const PortRequest& request, uint8_t os_type, const _CardInformation& card,
           _PortInformation* port) {
    for (const Property& property : zwmgmt::PortProperties()) {
        if (!IsSet(property, request.set_mask, os_type, card) || !IsRead(property, os_type)) {
            continue;
        }
        const SolarisByte* solaris = FindSolarisByte(property);
        char* target = solaris != nullptr ? BytesOf(port, solaris->reported)
                                          : BytesOf(&port->settings, property.offset);
        std::memcpy(target, BytesOf(&request.settings, property.offset), property.width);
    }
    Report(request.settings, request.set_mask, os_type, port);
}

}  // namespace zmsim
