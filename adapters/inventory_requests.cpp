/// Requests of the inventory: adapters, ports, counters, drivers.
#include "commands/arguments.h"
#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"

using namespace zwmgmt;

namespace {

constexpr const char* kNoLocation = "please specify pci bus location\n";
constexpr const char* kInvalidArgument = "Invalid argument specified\n";

constexpr Argument kCardArguments[] = {
    ZWMGMT_ARGUMENT(_CardInformation, "pci", Adapter, pci_bus_location, kText,
                    .takes = "a PCI bus location"),
};

constexpr Required kCardRequired[] = {
    {AdapterKey("pci"), Required::kGiven, kNoLocation},
};

constexpr RequestForm AboutCard(Command command) {
    return {.service = kKorvane,
            .command = command,
            .record_size = 0,  // the location is sent bare
            .arguments = kCardArguments,
            .required = kCardRequired,
            .wrong = kInvalidArgument,
            .unknown = kInvalidArgument};
}

constexpr RequestForm kPortsForm = AboutCard(kListPorts);
constexpr RequestForm kCardStatsForm = AboutCard(kGetCardStats);

int AskAboutCard(ZwMgmt_interface& session, const Client_Request_Message* request,
                 _Message* message, const RequestForm& form) {
    const auto keys = KeysOf(request);
    _CardInformation card = {};
    if (const int refused = ReadArguments(session, keys, form, &card)) return refused;
    if (keys.size() > 1) return Refuse(session, keys[1], kInvalidArgument);
    if (const int refused = CheckRequired(session, keys, form, &card)) return refused;
    const std::string_view location = FixedText(card.pci_bus_location);
    return Fill(session, message, form.service, form.command, location.data(), location.size());
}

/// Digits; the agents' instances are 32-bit numbers with sign.
Verdict SetInstance(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                    const Client_Request_Argument& key, void* record) {
    if (!IsAllDigits(ValueOf(key))) return Wrong("Invalid Port Instance\n");
    const auto instance = Decimal<int32_t>(ValueOf(key));
    if (!instance) return {kInvalidValue, ""};
    static_cast<PortRequest*>(record)->port_instance = static_cast<uint32_t>(*instance);
    return {};
}

constexpr Argument kPortArguments[] = {
    ZWMGMT_ARGUMENT(PortRequest, "pci", Adapter, pci_bus_location, kText,
                    .takes = "a PCI bus location"),
    ZWMGMT_ARGUMENT(PortRequest, "port", Adapter, port_instance, kOther, .set = SetInstance,
                    .takes = "a number from 0"),
};

constexpr Required kPortRequired[] = {
    {AdapterKey("port"), Required::kGiven, "please specify portinstance\n"},
    {AdapterKey("pci"), Required::kGiven, kNoLocation},
};

constexpr RequestForm kPortStatsForm = {.service = kKorvane,
                                        .command = kGetPortStats,
                                        .record_size = sizeof(PortRequest),
                                        .arguments = kPortArguments,
                                        .required = kPortRequired,
                                        .wrong = kInvalidArgument,
                                        .unknown = kInvalidArgument};

}  // namespace

std::span<const RequestForm* const> zwmgmt::InventoryForms() {
    static constexpr const RequestForm* kForms[] = {&kPortsForm, &kCardStatsForm, &kPortStatsForm};
    return kForms;
}

int ZwMgmt_interface::CLGetKorvaneAdapters(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kKorvane, kListAdapterProps);
}

int ZwMgmt_interface::CLGetKorvaneDriverDetails(Client_Request_Message* /*request*/,
                                                _Message* message) {
    return Fill(*this, message, kSystem, kListDrivers);
}

int ZwMgmt_interface::CLGetKorvaneAdapterPorts(Client_Request_Message* request, _Message* message) {
    return AskAboutCard(*this, request, message, kPortsForm);
}

int ZwMgmt_interface::CLGetKorvaneCardStats(Client_Request_Message* request, _Message* message) {
    return AskAboutCard(*this, request, message, kCardStatsForm);
}

int ZwMgmt_interface::CLGetKorvanePortStats(Client_Request_Message* request, _Message* message) {
    PortRequest payload = {};
    return BuildRequest(*this, request, message, kPortStatsForm, &payload);
}
