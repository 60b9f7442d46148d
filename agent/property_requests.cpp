#include "agent/property_requests.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <span>

#include "adapters/properties.h"
#include "commands/chips.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/records/net.h"

namespace zwmgmt::agent {
namespace {

bool AreZero(const char* bytes, size_t width) {
    return std::all_of(bytes, bytes + width, [](char byte) { return byte == 0; });
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
    for (const LinkMode& mode : kLinkModes) bits |= mode.bits;
    return bits;
}

int64_t NumberIn(const char* bytes, const Argument& property) {
    uint64_t number = 0;
    std::memcpy(&number, bytes, property.width);
    const int unused = static_cast<int>(64 - 8 * property.width);
    number <<= unused;
    return property.is_signed ? static_cast<int64_t>(number) >> unused
                              : static_cast<int64_t>(number >> unused);
}

constexpr Rule kOffOrOn = {0, 1};

/// Whether the bytes are a value that the property can have.
bool IsValue(const Argument& property, const char* bytes, std::span<const TextRow> bounds) {
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

template <class Request>
bool ForEachSet(const Request& request, uint8_t os_type, std::string_view chip,
                std::span<const Argument> table, std::span<const TextRow> bounds,
                const TakeProperty& take) {
    auto rest = request.settings;
    const auto* values = reinterpret_cast<const char*>(&request.settings);
    auto* rest_bytes = reinterpret_cast<char*>(&rest);
    uint32_t bits = request.set_mask;
    for (const Argument& property : table) {
        if ((request.set_mask & property.bit) == 0 || !property.heeded.Has(os_type) ||
            !IsOneOf(property.chips, chip)) {
            continue;
        }
        if (!IsValue(property, values + property.offset, bounds)) return false;
        bits &= ~property.bit;
        const size_t width = property.form == Form::kNothing ? 0 : property.width;
        std::memset(rest_bytes + property.offset, 0, width);
        take(property);
    }
    return request.os_type == os_type && request.set_mask != 0 && bits == 0 &&
           AreZero(rest_bytes, sizeof(rest));
}

}  // namespace

bool IsDecimal(const char* bytes, size_t width, int64_t* number) {
    const std::string_view text = FixedText(bytes, width);
    const char* end = text.data() + text.size();
    return text.find_first_not_of("0123456789") == text.npos &&
           std::from_chars(text.data(), end, *number).ec == std::errc() &&
           AreZero(end, width - text.size());
}

bool ForEachProperty(const CardPropertyRequest& request, uint8_t os_type, std::string_view chip,
                     const TakeProperty& take) {
    return ForEachSet(request, os_type, chip, CardProperties(), {}, take);
}

bool ForEachProperty(const PortRequest& request, uint8_t os_type, std::string_view chip,
                     const TakeProperty& take) {
    return ForEachSet(request, os_type, chip, PortProperties(), kPortTexts, take);
}

}  // namespace zwmgmt::agent
