/// Requests that set properties of cards and ports. Which keys there are, and what becomes of their
/// values, is in the property tables.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string_view>

#include "adapters/properties.h"
#include "cli/handler.h"
#include "cli/keys.h"
#include "records/field.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kPciKey = AdapterKey("pci");
constexpr int kPortKey = AdapterKey("port");

constexpr const char* kInvalidText = "Invalid value specified\n";

/// What is said about a key that the agent's table lacks.
struct UnknownKeyRow {
    OsSet systems;
    const char* text;
};

// The traces of line numbers are part of the output.
constexpr UnknownKeyRow kUnknownCardKey[] = {
    {{kWindows}, "line num 1903\nOne or more specified parameters are not supported\n"},
    {{kFreeBsd}, "One or more specified parameters are not supported or are settable\n"},
    {OsSet::Any(), "One or more specified parameters are not supported\n"},
};

constexpr UnknownKeyRow kUnknownPortKey[] = {
    {{kWindows}, "One or more specified parameters are not supported\n"},
    {{kFreeBsd}, "One or more specified parameters are not supported or are not settable\n"},
    {OsSet::Any(), "line num 2686\nOne or more specified parameters are not supported\n"},
};

const char* TextFor(std::span<const UnknownKeyRow> rows, uint8_t os_type) {
    return std::ranges::find_if(rows, [&](const auto& row) { return row.systems.Has(os_type); })
        ->text;
}

/// Decimal digits, after one "-" where the agent takes negative values.
bool IsCardNumber(std::string_view text, uint8_t os_type) {
    const bool negative = text.starts_with('-');
    return IsAllDigits(text.substr(negative)) && !(negative && os_type == kWindows);
}

std::optional<int64_t> CardNumber(std::string_view text) {
    int64_t number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc()) return {};
    return number;
}

/// 0x hexadecimal, 0 octal, otherwise decimal; 0 to 2147483647 on every platform.
std::optional<int64_t> PortNumber(std::string_view text) {
    if (text.empty()) return {};
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.data(), &end, 0);  // the text is terminated
    const bool whole = end == text.data() + text.size();
    if (!whole || errno != 0 || number < 0 || number > std::numeric_limits<int32_t>::max()) {
        return {};
    }
    return number;
}

/// Whether the field can hold the number; an unsigned one takes negative numbers as well.
bool Fits(int64_t number, const Property& property) {
    if (property.width >= sizeof(number)) return true;
    const int64_t end = int64_t{1} << (8 * property.width);
    return -end / 2 <= number && number < (property.is_signed ? end / 2 : end);
}

void SetNumber(char* field, size_t width, int64_t number) { std::memcpy(field, &number, width); }

/// "auto", or a speed in Mb/s, "-" and the duplex. Null, or what is wrong.
const char* SetSpeedDuplex(PortSettings* settings, std::string_view text) {
    settings->speed_mode = 0;
    settings->fixed_speed = 0;
    settings->duplex = 0;
    if (SameIgnoringCase(text, "auto")) {
        settings->speed_mode = 1;
        return nullptr;
    }
    const size_t dash = text.find('-');
    if (dash == text.npos) return kInvalidText;
    const std::string_view speed_text = text.substr(0, dash);
    const std::string_view duplex_text = text.substr(dash + 1);
    uint16_t speed = 0;
    if (!speed_text.empty()) {
        const bool digits = IsAllDigits(speed_text);
        const auto parsed =
            std::from_chars(speed_text.data(), speed_text.data() + speed_text.size(), speed);
        if (!digits || parsed.ec != std::errc()) return "Invalid speed value\n";
    }
    if (duplex_text.empty()) return "Invalid speedduplex value\n";
    const bool full = duplex_text == "full" || duplex_text == "Full";
    if (!full && duplex_text != "half" && duplex_text != "Half") return "Invalid duplex value\n";
    settings->fixed_speed = speed;
    settings->duplex = full;
    return nullptr;
}

/// Link modes in any case, separated by "|". Null, or what is wrong.
const char* SetAdvertised(PortSettings* settings, std::string_view text) {
    settings->advertised_modes = 0;
    for (bool more = true; more;) {
        const size_t bar = std::min(text.find('|'), text.size());
        const std::string_view piece = text.substr(0, bar);
        const auto* mode = std::ranges::find_if(
            kLinkModes, [&](const LinkMode& row) { return SameIgnoringCase(row.word, piece); });
        if (mode == std::end(kLinkModes)) return "Invalid Advertise value\n";
        settings->advertised_modes |= mode->bits;
        more = bar < text.size();
        text.remove_prefix(more ? bar + 1 : bar);
    }
    return nullptr;
}

/// Stores a number, or the text that it was, into the settings. Null, or what is wrong.
const char* SetValue(const Property& property, std::string_view text, int64_t number,
                     void* settings) {
    char* field = static_cast<char*>(settings) + property.offset;
    if (property.form == Form::kLowByte) number &= 0xFF;
    const Rule& rule = property.rule;
    if (rule.message != nullptr && (number < rule.least || number > rule.most)) {
        return rule.message;
    }
    switch (property.form) {
        case Form::kFlag:
            if (text.size() != 1 || !IsAllDigits(text)) return kInvalidText;
            SetFixedText(field, property.width, text);
            return nullptr;
        case Form::kText:
            if (text.size() > property.width) return kInvalidText;
            SetFixedText(field, property.width, text);
            return nullptr;
        case Form::kNumber:
            if (!Fits(number, property)) return kInvalidText;
            SetNumber(field, property.width, number);
            return nullptr;
        case Form::kLowByte: SetNumber(field, property.width, number); return nullptr;
        case Form::kLow16: SetNumber(field, property.width, number & 0xFFFF); return nullptr;
        case Form::kNumberText:
            std::memset(field, 0, property.width);
            return std::to_chars(field, field + property.width, number).ec == std::errc()
                       ? nullptr
                       : kInvalidText;
        case Form::kNothing: return nullptr;
        case Form::kSpeedDuplex: return SetSpeedDuplex(static_cast<PortSettings*>(settings), text);
        case Form::kAdvertise: return SetAdvertised(static_cast<PortSettings*>(settings), text);
    }
    return kInvalidText;
}

/// Notes a number that the settings hold otherwise than it was written.
void NoteWhatIsSent(ZwMgmt_interface& session, const Client_Request_Argument& key,
                    const Property& property, int64_t number, const void* settings) {
    const bool is_number = property.form == Form::kNumber || property.form == Form::kLowByte ||
                           property.form == Form::kLow16;
    if (!is_number) return;
    const FieldType type = property.is_signed ? FieldType::kSigned : FieldType::kUnsigned;
    const int64_t stored =
        IntegerOf(settings, {property.word, property.offset, property.width, type, {}});
    if (stored != number)
        Remarks::Warn(session, key, " is sent as %lld", static_cast<long long>(stored));
}

/// Keys whose values are no numbers, for any agent.
bool HasItsOwnSyntax(int key) {
    return key == AdapterKey("advertise") || key == AdapterKey("speedduplex");
}

}  // namespace

int ZwMgmt_interface::CLSetKorvaneCardProp(Client_Request_Message* request, _Message* message) {
    const auto table = CardProperties();
    CardPropertyRequest payload = {};
    bool has_location = false;
    for (const Client_Request_Argument& key : KeysOf(request)) {
        const std::string_view value = ValueOf(key);
        if (key.key == kPciKey) {
            if (!SetWhole(payload.pci_bus_location, value)) {
                return Refuse(*this, key, kInvalidText);
            }
            has_location = Knows(table, os_type);
            continue;
        }
        if (!IsCardNumber(value, os_type)) return Refuse(*this, key, kInvalidText);
        if (!Knows(table, os_type)) continue;
        const Property* property = FindProperty(table, os_type, key.key);
        if (property == nullptr) return Refuse(*this, key, TextFor(kUnknownCardKey, os_type));
        const bool text = property->form == Form::kText;
        const auto number = text ? std::optional<int64_t>(0) : CardNumber(value);
        if (!number) return Refuse(*this, key, kInvalidText);
        const char* wrong = SetValue(*property, value, *number, &payload.settings);
        if (wrong != nullptr) return Refuse(*this, key, wrong);
        NoteWhatIsSent(*this, key, *property, *number, &payload.settings);
        payload.set_mask |= property->bit;
    }
    if (!has_location) return Refuse(*this, "please specify PCIBuslocation for the card\n");
    if (payload.set_mask == 0)
        return Refuse(*this, "Please specify atleast one property to be set\n");
    payload.os_type = os_type;
    return Fill(*this, message, kKorvane, kSetCardProperty, &payload, sizeof(payload));
}

int ZwMgmt_interface::CLSetKorvanePortProp(Client_Request_Message* request, _Message* message) {
    const auto table = PortProperties();
    PortRequest payload = {};
    bool has_location = false;
    bool has_instance = false;
    for (const Client_Request_Argument& key : KeysOf(request)) {
        const std::string_view value = ValueOf(key);
        if (key.key == kPciKey) {
            if (!SetWhole(payload.pci_bus_location, value)) {
                return Refuse(*this, key, kInvalidText);
            }
            has_location = Knows(table, os_type);
            continue;
        }
        const auto number =
            HasItsOwnSyntax(key.key) ? std::optional<int64_t>(0) : PortNumber(value);
        if (!number) return Refuse(*this, key, kInvalidText);
        if (!Knows(table, os_type)) continue;
        if (key.key == kPortKey) {
            payload.port_instance = static_cast<uint32_t>(*number);
            has_instance = true;
            continue;
        }
        const Property* property = FindProperty(table, os_type, key.key);
        if (property == nullptr) return Refuse(*this, key, TextFor(kUnknownPortKey, os_type));
        const char* wrong = SetValue(*property, value, *number, &payload.settings);
        if (wrong != nullptr) return Refuse(*this, key, wrong);
        NoteWhatIsSent(*this, key, *property, *number, &payload.settings);
        payload.set_mask |= property->bit;
    }
    if (!has_instance) return Refuse(*this, "please specify portinstance\n");
    if (!has_location) return Refuse(*this, "please specify pci bus location\n");
    if (payload.set_mask == 0) {
        return Refuse(
            *this,
            "Please specify atleast one property to be set or you might be specifying the wrong "
            "parameters for the target platform\n");
    }
    payload.os_type = os_type;
    return Fill(*this, message, kKorvane, kSetPortProperty, &payload, sizeof(payload));
}
