#include <linux/ethtool_netlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <span>
#include <utility>

#include "adapters/properties.h"
#include "linux_agent/ports.h"
#include "linux_agent/properties.h"

namespace zmagent {
namespace {

using zwmgmt::Argument;
using zwmgmt::Form;
using zwmgmt::kLinkModes;
using zwmgmt::LinkMode;

/// One property that is being set, or put back to what `wanted` has of before.
struct Setting {
    Kernel& kernel;
    const Interface& port;
    const PortState& before;
    const Bits& features;  // before
    const Argument& property;
    const PortSettings& wanted;

    uint32_t Number() const { return NumberOf(property, wanted); }
    Outcome Set(uint8_t message, const Ethtool::Put& put) const {
        return kernel.ethtool.Set(message, port.index, put);
    }
};

/// The row of a property that the table has.
template <class Row>
const Row& RowOf(std::span<const Row> rows, const Argument& property) {
    return *std::ranges::find_if(
        rows, [&](const Row& row) { return std::strcmp(row.word, property.word) == 0; });
}

Outcome SetMtu(const Setting& setting) {
    return SetMtu(setting.kernel, setting.port, setting.Number());
}

Outcome SetNumber(const Setting& setting) {
    const NumberRow& row = RowOf(NumberRows(), setting.property);
    return setting.Set(row.set, [&](Request& request) {
        if (row.width == 1) {
            request.Number8(row.attribute, static_cast<uint8_t>(setting.Number()));
        } else {
            request.Number32(row.attribute, setting.Number());
        }
    });
}

Outcome SetBits(const Setting& setting, uint8_t message, uint16_t attribute, const Bits& bits) {
    return setting.Set(message, [&](Request& request) { PutBits(request, attribute, bits); });
}

Outcome SetFeatures(const Setting& setting) {
    const FeatureRow& row = RowOf(FeatureRows(), setting.property);
    Bits bits;
    for (const Bit& bit : setting.features) {
        if (!row.Covers(bit.name)) continue;
        bits.push_back({.index = bit.index, .name = bit.name, .set = setting.Number() != 0});
    }
    return SetBits(setting, ETHTOOL_MSG_FEATURES_SET, ETHTOOL_A_FEATURES_WANTED, bits);
}

/// All at once, as what depends on another feature was dropped with it.
Outcome PutBackFeatures(const Setting& setting) {
    if (setting.features.empty()) return {};
    return SetBits(setting, ETHTOOL_MSG_FEATURES_SET, ETHTOOL_A_FEATURES_WANTED, setting.features);
}

Outcome SetMessageLevel(const Setting& setting) {
    const uint32_t level = setting.Number();
    return setting.Set(ETHTOOL_MSG_DEBUG_SET, [&](Request& request) {
        request.Nest(ETHTOOL_A_DEBUG_MSGMASK, [&] {
            request.Flag(ETHTOOL_A_BITSET_NOMASK);
            request.Number32(ETHTOOL_A_BITSET_SIZE, 32);
            request.Number32(ETHTOOL_A_BITSET_VALUE, level);
        });
    });
}

constexpr bool IsOneMode(const LinkMode& mode) { return (mode.bits & (mode.bits - 1)) == 0; }

Bits LinkModes(const PortState& state) {
    Bits modes;
    std::ranges::copy_if(state.link_modes, std::back_inserter(modes), IsLinkMode);
    return modes;
}

/// Those that the request names, and no other.
Outcome SetAdvertised(const Setting& setting) {
    Bits modes = LinkModes(setting.before);
    for (Bit& mode : modes) {
        mode.set = std::ranges::any_of(kLinkModes, [&](const LinkMode& row) {
            return IsOneMode(row) && row.word == mode.name &&
                   (row.bits & setting.wanted.advertised_modes) != 0;
        });
    }
    return SetBits(setting, ETHTOOL_MSG_LINKMODES_SET, ETHTOOL_A_LINKMODES_OURS, modes);
}

void PutSpeed(Request& request, const PortSettings& settings) {
    request.Number8(ETHTOOL_A_LINKMODES_AUTONEG, settings.speed_mode);
    if (settings.speed_mode != 0 || settings.fixed_speed == 0) return;
    request.Number32(ETHTOOL_A_LINKMODES_SPEED, settings.fixed_speed);
    request.Number8(ETHTOOL_A_LINKMODES_DUPLEX, settings.duplex);
}

Outcome SetSpeed(const Setting& setting) {
    return setting.Set(ETHTOOL_MSG_LINKMODES_SET,
                       [&](Request& request) { PutSpeed(request, setting.wanted); });
}

Outcome PutBackLink(const Setting& setting) {
    const Bits modes = LinkModes(setting.before);
    return setting.Set(ETHTOOL_MSG_LINKMODES_SET, [&](Request& request) {
        PutSpeed(request, setting.wanted);
        if (!modes.empty()) PutBits(request, ETHTOOL_A_LINKMODES_OURS, modes);
    });
}

Outcome RestartAutonegotiation(const Setting& setting) {
    return setting.kernel.ethtool.RestartAutonegotiation(setting.port.name);
}

Outcome Nothing(const Setting& /*setting*/) { return {}; }

struct Setter {
    const char* word;  // the property's
    Outcome (*set)(const Setting&);
    Outcome (*put_back)(const Setting&);
    bool takes_the_link = false;
};

// In the order in which they are set: some drivers take pauses only without their autonegotiation,
// and segmentation needs checksums and scatter-gather.
constexpr Setter kSetters[] = {
    {"mtu", SetMtu, SetMtu},
    {"pauseautoneg", SetNumber, SetNumber},
    {"txpfsupport", SetNumber, SetNumber},
    {"rxpfsupport", SetNumber, SetNumber},
    {"rxusecs", SetNumber, SetNumber},
    {"ringrx", SetNumber, SetNumber},
    {"ringrxmini", SetNumber, SetNumber},
    {"ringrxjumbo", SetNumber, SetNumber},
    {"ringtx", SetNumber, SetNumber},
    {"rxcksum", SetFeatures, PutBackFeatures},
    {"txcksum", SetFeatures, PutBackFeatures},
    {"scattergather", SetFeatures, PutBackFeatures},
    {"tso", SetFeatures, PutBackFeatures},
    {"lso", SetFeatures, PutBackFeatures},
    {"gso", SetFeatures, PutBackFeatures},
    {"msglevel", SetMessageLevel, SetMessageLevel},
    {"advertise", SetAdvertised, PutBackLink, true},
    {"speedduplex", SetSpeed, PutBackLink, true},
    {"resetautoneg", RestartAutonegotiation, Nothing, true},
};

bool Sets(const Setter& setter, const Argument& property) {
    return std::strcmp(setter.word, property.word) == 0;
}

/// Null where the property cannot be set.
const Setter* SetterOf(const Argument& property) {
    const auto* found = std::ranges::find_if(
        kSetters, [&](const Setter& setter) { return Sets(setter, property); });
    return found != std::end(kSetters) ? found : nullptr;
}

/// Of "auto" that is advertised which is supported.
PortSettings WithSupportedModes(PortSettings settings, const PortState& port) {
    const auto* all_modes = std::ranges::find_if_not(kLinkModes, IsOneMode);
    if (settings.advertised_modes == all_modes->bits) {
        settings.advertised_modes &= ModeBits(port.link_modes);
    }
    return settings;
}

/// Whether the port has what was wanted. Of a link that is down the kernel may not know the speed.
bool Took(const Argument& property, const PortSettings& wanted, const PortState& now) {
    const PortSettings& settings = now.record.settings;
    switch (property.form) {
        case Form::kNothing: return true;
        case Form::kSpeedDuplex:
            return settings.speed_mode == wanted.speed_mode &&
                   (wanted.speed_mode != 0 || settings.fixed_speed == 0 ||
                    (settings.fixed_speed == wanted.fixed_speed &&
                     settings.duplex == wanted.duplex));
        default: return NumberOf(property, settings) == NumberOf(property, wanted);
    }
}

Outcome With(const Argument& property, Outcome outcome) {
    if (!outcome.Done()) outcome.reason = std::string(property.word) + ": " + outcome.reason;
    return outcome;
}

}  // namespace

PortChange::PortChange(Kernel& of_kernel, Interface interface, Properties wanted_properties,
                       const PortSettings& settings)
    : kernel(of_kernel),
      port(std::move(interface)),
      properties(std::move(wanted_properties)),
      before(ReadPort(kernel, port)),
      features(ChangeableFeatures(kernel, port)),
      wanted(WithSupportedModes(settings, before)) {}

bool PortChange::TakesTheLink() const {
    return std::ranges::any_of(properties, [](const Argument* property) {
        const Setter* setter = SetterOf(*property);
        return setter != nullptr && setter->takes_the_link;
    });
}

Outcome PortChange::Check() const {
    for (const Argument* property : properties) {
        if (SetterOf(*property) == nullptr) {
            return With(*property, Refusal(EOPNOTSUPP, "it cannot be set"));
        }
        const uint32_t modes = wanted.advertised_modes;
        if (property->form == Form::kAdvertise &&
            (modes == 0 || (modes & ~ModeBits(before.link_modes)) != 0)) {
            return With(*property, Refusal(EINVAL, "the port does not support these link modes"));
        }
    }
    return {};
}

Outcome PortChange::Apply() {
    for (const Setter& setter : kSetters) {
        for (const Argument* property : properties) {
            if (!Sets(setter, *property)) continue;
            const Outcome set = setter.set({kernel, port, before, features, *property, wanted});
            (set.Done() ? done : refused).push_back(property);
            if (!set.Done()) return With(*property, set);
        }
    }
    Outcome verified = Verify();
    if (verified.Done()) features_after = ChangeableFeatures(kernel, port);
    return verified;
}

std::optional<PortState> PortChange::Now() {
    const std::optional<Interface> now = InterfaceAt(kernel, port.index);
    return now ? std::optional(ReadPort(kernel, *now)) : std::nullopt;
}

Outcome PortChange::Verify() {
    const std::optional<PortState> now = Now();
    if (!now) return Refusal(ENODEV);
    for (const Argument* property : properties) {
        if (Took(*property, wanted, *now)) continue;
        return With(*property, Refusal(EINVAL, "the kernel took it, and has another value"));
    }
    return {};
}

bool PortChange::IsAsMade(const Argument& property, const std::optional<PortState>& now) const {
    return !features_after || !now || Took(property, wanted, *now);
}

/// Those that have changed with this change, and not again.
Bits PortChange::FeaturesToPutBack() const {
    if (!features_after) return features;
    Bits changed;
    for (const Bit& now : ChangeableFeatures(kernel, port)) {
        const auto same = [&](const Bit& bit) { return bit.index == now.index; };
        const auto was = std::find_if(features.begin(), features.end(), same);
        const auto made = std::find_if(features_after->begin(), features_after->end(), same);
        if (was == features.end() || made == features_after->end()) continue;
        if (was->set != made->set && now.set == made->set) changed.push_back(*was);
    }
    return changed;
}

std::string PortChange::PutBack() {
    std::string failures;
    const std::optional<PortState> now = Now();
    const Bits changed = FeaturesToPutBack();
    for (const Argument* property : refused) {
        if (now && !Took(*property, before.record.settings, *now)) done.push_back(property);
    }
    for (; !done.empty(); done.pop_back()) {
        const Argument& property = *done.back();
        if (!IsAsMade(property, now)) continue;
        const Setter& setter = *SetterOf(property);
        const Setting setting = {kernel, port, before, changed, property, before.record.settings};
        const Outcome outcome = With(property, setter.put_back(setting));
        if (!outcome.Done()) failures += "; could not be put back: " + outcome.reason;
    }
    return failures;
}

}  // namespace zmagent
