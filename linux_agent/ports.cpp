#include "linux_agent/ports.h"

#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <utility>

#include "adapters/properties.h"
#include "linux_agent/properties.h"
#include "zwmgmt/fixed_text.h"

namespace zmagent {
namespace {

using zwmgmt::SetFixedText;

constexpr uint8_t kDriversOwn = 1;  // kinds of counters
constexpr uint8_t kKernels = 2;

constexpr std::string_view kPortKinds[] = {"TP", "AUI", "MII", "FIBRE", "BNC", "Backplane"};

struct PortType {
    uint8_t number;
    const char* name;
};

constexpr PortType kPortTypes[] = {
    {PORT_TP, "Twisted Pair"}, {PORT_AUI, "AUI"},     {PORT_MII, "MII"},
    {PORT_FIBRE, "FIBRE"},     {PORT_BNC, "BNC"},     {PORT_DA, "Direct Attach Copper"},
    {PORT_NONE, "None"},       {PORT_OTHER, "Other"},
};

constexpr const char* kTransceivers[] = {"internal", "external"};
constexpr std::string_view kWakeLetters = "pumbagsf";  // by their bits
constexpr const char* kNoWaking = "None";
constexpr const char* kNotWaking = "Disabled";

/// The names that `belongs` takes, as many as fit into the field.
template <size_t Width, class Belongs>
void SetNames(char (&field)[Width], const Bits& bits, Belongs belongs) {
    std::string text;
    for (const Bit& bit : bits) {
        if (!belongs(bit)) continue;
        const size_t needed = text.size() + !text.empty() + bit.name.size();
        if (needed > Width) break;
        if (!text.empty()) text += ' ';
        text += bit.name;
    }
    SetFixedText(field, text);
}

const Bit* Find(const Bits& bits, std::string_view name) {
    const auto found = std::ranges::find(bits, name, &Bit::name);
    return found != bits.end() ? &*found : nullptr;
}

void ReadLinkInfo(const Attributes& info, PortState* state) {
    _PortInformation& port = state->record;
    port.phy_address = info.Number32(ETHTOOL_A_LINKINFO_PHYADDR);
    const uint8_t transceiver = info.Number8(ETHTOOL_A_LINKINFO_TRANSCEIVER);
    if (transceiver < std::size(kTransceivers)) {
        SetFixedText(port.transceiver, kTransceivers[transceiver]);
    }
    const auto* type =
        std::ranges::find(kPortTypes, info.Number8(ETHTOOL_A_LINKINFO_PORT), &PortType::number);
    if (type != std::end(kPortTypes)) SetFixedText(port.media_type, type->name);
}

void ReadLinkModes(const Attributes& modes, PortState* state) {
    _PortInformation& port = state->record;
    port.settings.speed_mode = modes.Number8(ETHTOOL_A_LINKMODES_AUTONEG);
    const uint32_t speed = modes.Number32(ETHTOOL_A_LINKMODES_SPEED);
    port.settings.fixed_speed = speed <= UINT16_MAX ? static_cast<uint16_t>(speed) : 0;
    port.settings.duplex = modes.Number8(ETHTOOL_A_LINKMODES_DUPLEX);

    const Bits bits = BitsIn(modes.Nest(ETHTOOL_A_LINKMODES_OURS));
    SetNames(port.media_supported, bits, [](const Bit& bit) {
        return std::ranges::find(kPortKinds, bit.name) != std::end(kPortKinds);
    });
    SetNames(port.supported_link_modes, bits, IsLinkMode);
    SetNames(port.advertised_link_modes, bits,
             [](const Bit& bit) { return bit.set && IsLinkMode(bit); });
    const Bit* autonegotiation = Find(bits, "Autoneg");
    port.supports_autonegotiation = autonegotiation != nullptr;
    port.advertises_autonegotiation = autonegotiation != nullptr && autonegotiation->set;
    Bits advertised;
    std::ranges::copy_if(bits, std::back_inserter(advertised), &Bit::set);
    port.settings.advertised_modes = ModeBits(advertised);
    state->link_modes = bits;
}

void ReadLinkState(const Attributes& link, PortState* state) {
    state->record.link_detected = link.Number8(ETHTOOL_A_LINKSTATE_LINK);
}

void ReadMessageLevel(const Attributes& debug, PortState* state) {
    uint32_t level = 0;
    for (const Bit& bit : BitsIn(debug.Nest(ETHTOOL_A_DEBUG_MSGMASK))) {
        if (bit.set && bit.index < 32) level |= 1u << bit.index;
    }
    Store(PropertyOf("msglevel"), level, &state->record.settings);
}

void ReadWakeOn(const Attributes& wake, PortState* state) {
    std::string supported;
    std::string active;
    for (const Bit& bit : BitsIn(wake.Nest(ETHTOOL_A_WOL_MODES))) {
        if (bit.index >= kWakeLetters.size()) continue;
        supported += kWakeLetters[bit.index];
        if (bit.set) active += kWakeLetters[bit.index];
    }
    SetFixedText(state->record.supported_wake_on, supported.empty() ? kNoWaking : supported);
    SetFixedText(state->record.wake_on, active.empty() ? kNotWaking : active);
}

void ReadFeatures(const Attributes& features, PortState* state) {
    const Bits active = BitsIn(features.Nest(ETHTOOL_A_FEATURES_ACTIVE));
    for (const FeatureRow& row : FeatureRows()) {
        const bool on = std::ranges::any_of(
            active, [&](const Bit& bit) { return bit.set && row.Covers(bit.name); });
        Store(PropertyOf(row.word), on, &state->record.settings);
    }
}

void ReadRingMaxima(const Attributes& rings, PortState* state) {
    state->record.ring_max_rx = rings.Number32(ETHTOOL_A_RINGS_RX_MAX);
    state->record.ring_max_rx_mini = rings.Number32(ETHTOOL_A_RINGS_RX_MINI_MAX);
    state->record.ring_max_rx_jumbo = rings.Number32(ETHTOOL_A_RINGS_RX_JUMBO_MAX);
    state->record.ring_max_tx = rings.Number32(ETHTOOL_A_RINGS_TX_MAX);
}

void NothingBesides(const Attributes& /*reply*/, PortState* /*state*/) {}

/// A message, and what is read of it beside the numbers of properties.
struct Reading {
    uint8_t message;
    void (*read)(const Attributes& reply, PortState* state);
};

constexpr Reading kReadings[] = {
    {ETHTOOL_MSG_LINKINFO_GET, ReadLinkInfo},   {ETHTOOL_MSG_LINKMODES_GET, ReadLinkModes},
    {ETHTOOL_MSG_LINKSTATE_GET, ReadLinkState}, {ETHTOOL_MSG_DEBUG_GET, ReadMessageLevel},
    {ETHTOOL_MSG_WOL_GET, ReadWakeOn},          {ETHTOOL_MSG_FEATURES_GET, ReadFeatures},
    {ETHTOOL_MSG_RINGS_GET, ReadRingMaxima},    {ETHTOOL_MSG_COALESCE_GET, NothingBesides},
    {ETHTOOL_MSG_PAUSE_GET, NothingBesides},
};

/// The kernel's own counters, by the names of their members.
struct CounterRow {
    const char* name;
    __u64 rtnl_link_stats64::*counter;
};

#define COUNTER(member) \
    { #member, &rtnl_link_stats64::member }
constexpr CounterRow kCounters[] = {
    COUNTER(rx_packets),
    COUNTER(tx_packets),
    COUNTER(rx_bytes),
    COUNTER(tx_bytes),
    COUNTER(rx_errors),
    COUNTER(tx_errors),
    COUNTER(rx_dropped),
    COUNTER(tx_dropped),
    COUNTER(multicast),
    COUNTER(collisions),
    COUNTER(rx_length_errors),
    COUNTER(rx_over_errors),
    COUNTER(rx_crc_errors),
    COUNTER(rx_frame_errors),
    COUNTER(rx_fifo_errors),
    COUNTER(rx_missed_errors),
    COUNTER(tx_aborted_errors),
    COUNTER(tx_carrier_errors),
    COUNTER(tx_fifo_errors),
    COUNTER(tx_heartbeat_errors),
    COUNTER(tx_window_errors),
    COUNTER(rx_compressed),
    COUNTER(tx_compressed),
    COUNTER(rx_nohandler),
    COUNTER(rx_otherhost_dropped),
};
#undef COUNTER

VqStat CounterOf(uint8_t kind, std::string_view name, uint64_t value) {
    VqStat counter = {.kind = kind, .name = "", .value = value, .next = nullptr};
    SetFixedText(counter.name, name);
    return counter;
}

}  // namespace

bool IsLinkMode(const Bit& bit) {
    return std::isdigit(static_cast<unsigned char>(bit.name[0])) != 0;
}

uint32_t ModeBits(const Bits& modes) {
    uint32_t bits = 0;
    for (const zwmgmt::LinkMode& mode : zwmgmt::kLinkModes) {
        if (Find(modes, mode.word) != nullptr) bits |= mode.bits;
    }
    return bits;
}

PortState ReadPort(Kernel& kernel, const Interface& port) {
    PortState state;
    SetFixedText(state.record.name, port.name);
    state.record.link_up = port.running;
    state.record.settings.duplex = DUPLEX_UNKNOWN;
    SetFixedText(state.record.supported_wake_on, kNoWaking);  // drivers that cannot say nothing
    SetFixedText(state.record.wake_on, kNotWaking);
    Store(PropertyOf("mtu"), port.mtu, &state.record.settings);
    for (const Reading& reading : kReadings) {
        kernel.ethtool.Read(reading.message, port.index, [&](const Attributes& reply) {
            for (const NumberRow& row : NumberRows()) {
                if (row.read != reading.message || !reply.Has(row.attribute)) continue;
                Store(PropertyOf(row.word), reply.Number32(row.attribute), &state.record.settings);
            }
            reading.read(reply, &state);
        });
    }
    return state;
}

Bits ChangeableFeatures(Kernel& kernel, const Interface& port) {
    Bits features;
    kernel.ethtool.Read(ETHTOOL_MSG_FEATURES_GET, port.index, [&](const Attributes& reply) {
        const Bits wanted = BitsIn(reply.Nest(ETHTOOL_A_FEATURES_WANTED));
        features = BitsIn(reply.Nest(ETHTOOL_A_FEATURES_HW));
        std::erase_if(features, [](const Bit& bit) { return !bit.set; });
        for (Bit& bit : features) bit.set = Find(wanted, bit.name) != nullptr;
    });
    return features;
}

std::vector<VqStat> KernelCounters(const std::vector<Interface>& ports) {
    std::vector<VqStat> counters;
    for (const CounterRow& row : kCounters) {
        uint64_t sum = 0;
        for (const Interface& port : ports) sum += port.counters.*row.counter;
        counters.push_back(CounterOf(kKernels, row.name, sum));
    }
    return counters;
}

std::vector<VqStat> DriverCounters(Kernel& kernel, const Interface& port) {
    std::vector<VqStat> counters;
    for (const auto& [name, value] : kernel.ethtool.CountersOf(port.name)) {
        counters.push_back(CounterOf(kDriversOwn, name, value));
    }
    return counters;
}

}  // namespace zmagent
