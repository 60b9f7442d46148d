#include "linux_agent/properties.h"

#include <linux/ethtool_netlink.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "adapters/properties.h"
#include "agent/property_requests.h"
#include "zwmgmt/fixed_text.h"

namespace zmagent {
namespace {

using zwmgmt::Argument;
using zwmgmt::Form;

constexpr NumberRow kNumbers[] = {
    {"pauseautoneg", ETHTOOL_MSG_PAUSE_GET, ETHTOOL_MSG_PAUSE_SET, ETHTOOL_A_PAUSE_AUTONEG, 1},
    {"txpfsupport", ETHTOOL_MSG_PAUSE_GET, ETHTOOL_MSG_PAUSE_SET, ETHTOOL_A_PAUSE_TX, 1},
    {"rxpfsupport", ETHTOOL_MSG_PAUSE_GET, ETHTOOL_MSG_PAUSE_SET, ETHTOOL_A_PAUSE_RX, 1},
    {"rxusecs", ETHTOOL_MSG_COALESCE_GET, ETHTOOL_MSG_COALESCE_SET, ETHTOOL_A_COALESCE_RX_USECS, 4},
    {"ringrx", ETHTOOL_MSG_RINGS_GET, ETHTOOL_MSG_RINGS_SET, ETHTOOL_A_RINGS_RX, 4},
    {"ringrxmini", ETHTOOL_MSG_RINGS_GET, ETHTOOL_MSG_RINGS_SET, ETHTOOL_A_RINGS_RX_MINI, 4},
    {"ringrxjumbo", ETHTOOL_MSG_RINGS_GET, ETHTOOL_MSG_RINGS_SET, ETHTOOL_A_RINGS_RX_JUMBO, 4},
    {"ringtx", ETHTOOL_MSG_RINGS_GET, ETHTOOL_MSG_RINGS_SET, ETHTOOL_A_RINGS_TX, 4},
};

constexpr FeatureRow kFeatures[] = {
    {"rxcksum", "rx-checksum"},
    {"txcksum", "tx-checksum-*"},
    {"scattergather", "tx-scatter-gather*"},
    {"tso", "tx-tcp*-segmentation"},
    {"lso", "tx-tcp*-segmentation"},
    {"gso", "tx-generic-segmentation"},
};

}  // namespace

bool FeatureRow::Covers(std::string_view feature) const {
    const std::string_view pattern = features;
    const size_t star = pattern.find('*');
    if (star == pattern.npos) return feature == pattern;
    const std::string_view end = pattern.substr(star + 1);
    return feature.size() >= star + end.size() && feature.starts_with(pattern.substr(0, star)) &&
           feature.ends_with(end);
}

std::span<const NumberRow> NumberRows() { return kNumbers; }
std::span<const FeatureRow> FeatureRows() { return kFeatures; }

const Argument& PropertyOf(const char* word) {
    for (const Argument& property : zwmgmt::PortProperties()) {
        if (property.heeded.Has(zwmgmt::kLinux) && std::strcmp(property.word, word) == 0) {
            return property;
        }
    }
    throw std::logic_error(std::string("no property of ports: ") + word);
}

void Store(const Argument& property, uint32_t number, PortSettings* settings) {
    char* member = reinterpret_cast<char*>(settings) + property.offset;
    if (property.form == Form::kFlag || property.form == Form::kNumberText) {
        zwmgmt::SetFixedText(member, property.width, std::to_string(number));
    } else {
        std::memcpy(member, &number, std::min(property.width, sizeof(number)));
    }
}

uint32_t NumberOf(const Argument& property, const PortSettings& settings) {
    const char* member = reinterpret_cast<const char*>(&settings) + property.offset;
    if (property.form == Form::kFlag || property.form == Form::kNumberText) {
        int64_t number = 0;
        const bool sound = zwmgmt::agent::IsDecimal(member, property.width, &number);
        return sound ? static_cast<uint32_t>(number) : 0;
    }
    uint32_t number = 0;
    std::memcpy(&number, member, std::min(property.width, sizeof(number)));
    return number;
}

}  // namespace zmagent
