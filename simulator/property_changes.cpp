#include "simulator/property_changes.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "adapters/properties.h"
#include "agent/property_requests.h"
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

bool Apply(const CardPropertyRequest& request, uint8_t os_type, _CardInformation* card) {
    CardSettings changed = card->settings;
    const auto take = [&](const Property& property) {
        std::memcpy(BytesOf(&changed, property.offset), BytesOf(&request.settings, property.offset),
                    property.width);
    };
    const bool sound =
        zwmgmt::agent::ForEachProperty(request, os_type, zwmgmt::FixedText(card->chip_type), take);
    if (sound) card->settings = changed;
    return sound;
}

bool Apply(const PortRequest& request, uint8_t os_type, const _CardInformation& card,
           _PortInformation* port) {
    _PortInformation changed = *port;
    const auto take = [&](const Property& property) {
        if (property.form == zwmgmt::Form::kNothing) return;
        const SolarisByte* solaris = FindSolarisByte(property);
        char* target = solaris != nullptr ? BytesOf(&changed, solaris->reported)
                                          : BytesOf(&changed.settings, property.offset);
        std::memcpy(target, BytesOf(&request.settings, property.offset), property.width);
        Report(property, request.settings, os_type, &changed);
    };
    const bool sound =
        zwmgmt::agent::ForEachProperty(request, os_type, zwmgmt::FixedText(card.chip_type), take);
    if (sound) *port = changed;
    return sound;
}

}  // namespace zmsim
