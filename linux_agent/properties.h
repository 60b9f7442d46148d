/// What the properties of ports are in the kernel, for reading and for setting them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "commands/arguments.h"
#include "zwmgmt/records/port.h"

namespace zmagent {

/// A property that is one attribute of one of ethtool's messages.
struct NumberRow {
    const char* word;  // the property's
    uint8_t read;      // ETHTOOL_MSG_..._GET
    uint8_t set;       // ETHTOOL_MSG_..._SET
    uint16_t attribute;
    uint8_t width;  // of the attribute: bytes
};

/// A property that sums up features: it is on where any of them is.
struct FeatureRow {
    const char* word;
    const char* features;  // with one * for any characters

    bool Covers(std::string_view feature) const;
};

std::span<const NumberRow> NumberRows();
std::span<const FeatureRow> FeatureRows();

/// The property that agents of Linux have of that word.
const zwmgmt::Argument& PropertyOf(const char* word);

/// The value in its member, as the property's form says it.
void Store(const zwmgmt::Argument& property, uint32_t number, PortSettings* settings);
uint32_t NumberOf(const zwmgmt::Argument& property, const PortSettings& settings);

}  // namespace zmagent
