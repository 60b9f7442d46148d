/// Requests of the inventory: adapters, ports, counters, drivers.
#include <charconv>

#include "cli/handler.h"
#include "cli/keys.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kPciKey = AdapterKey("pci");
constexpr int kPortKey = AdapterKey("port");

constexpr const char* kNoLocation = "please specify pci bus location\n";
constexpr const char* kInvalidArgument = "Invalid argument specified\n";

/// The decimal number of an all-digit text; -1 when a 32-bit signed one cannot hold it.
int PortInstanceFrom(std::string_view digits) {
    int instance = -1;
    std::from_chars(digits.data(), digits.data() + digits.size(), instance);
    return instance;
}

/// A request whose data is the location of one card.
int AskAboutCard(ZwMgmt_interface& session, const Client_Request_Message* request, uint16_t command,
                 _Message* message) {
    const auto keys = KeysOf(request);
    if (keys.empty()) return Refuse(session, kNoLocation);
    for (const Client_Request_Argument& key : keys) {
        const bool fits = ValueOf(key).size() <= sizeof(_CardInformation::pci_bus_location);
        if (key.key != kPciKey || !fits) return Refuse(session, key, kInvalidArgument);
    }
    if (keys.size() > 1) return Refuse(session, keys[1], kInvalidArgument);
    const std::string_view location = ValueOf(keys[0]);
    return Fill(session, message, kKorvane, command, location.data(), location.size());
}

}  // namespace

int ZwMgmt_interface::CLGetKorvaneAdapters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kKorvane, kListAdapterProps);
}

int ZwMgmt_interface::CLGetKorvaneDriverDetails(Client_Request_Message* /*request*/,
                                                _Message* message) {
    return Fill(*this, message, kSystem, kListDrivers);
}

int ZwMgmt_interface::CLListX3Adapters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kListX3Adapters);
}

int ZwMgmt_interface::CLListX4Adapters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kFilter, kListX4Adapters);
}

int ZwMgmt_interface::CLGetKorvaneAdapterPorts(Client_Request_Message* request, _Message* message) {
    return AskAboutCard(*this, request, kListPorts, message);
}

int ZwMgmt_interface::CLGetKorvaneCardStats(Client_Request_Message* request, _Message* message) {
    return AskAboutCard(*this, request, kGetCardStats, message);
}

int ZwMgmt_interface::CLGetKorvanePortStats(Client_Request_Message* request, _Message* message) {
    PortRequest payload = {};
    bool has_location = false;
    bool has_instance = false;
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (key.key == kPciKey) {
            if (!SetWhole(payload.pci_bus_location, ValueOf(key))) {
                return Refuse(*this, key, kInvalidArgument);
            }
            has_location = true;
        } else if (key.key == kPortKey) {
            if (!IsAllDigits(ValueOf(key))) return Refuse(*this, key, "Invalid Port Instance\n");
            const int instance = PortInstanceFrom(ValueOf(key));
            if (instance < 0) {
                Remarks::Refuse(*this, key);
                return kInvalidValue;
            }
            payload.port_instance = static_cast<uint32_t>(instance);
            has_instance = true;
        } else {
            return Refuse(*this, key, kInvalidArgument);
        }
    }
    if (!has_instance) return Refuse(*this, "please specify portinstance\n");
    if (!has_location) return Refuse(*this, kNoLocation);
    return Fill(*this, message, kKorvane, kGetPortStats, &payload, sizeof(payload));
}
