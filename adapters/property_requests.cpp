/// Requests that set properties of cards and ports. Which keys there are, and what becomes of their
/// values, is in the property tables.
#include "adapters/properties.h"
#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"

using namespace zwmgmt;

namespace {

constexpr int kPciKey = AdapterKey("pci");
constexpr int kPortKey = AdapterKey("port");

constexpr const char* kInvalidText = "Invalid value specified\n";

/// What is said about a key that the agent's table lacks. Agents without a table get no key at all:
/// theirs are passed over.
struct UnknownKeyRow {
    OsSet systems;
    const char* text;
};

// The traces of line numbers are part of the output.
constexpr UnknownKeyRow kUnknownCardKey[] = {
    {{kWindows}, "line num 1903\nOne or more specified parameters are not supported\n"},
    {{kFreeBsd}, "One or more specified parameters are not supported or are settable\n"},
    {{kLinux, kSolaris, kMac, kXen}, "One or more specified parameters are not supported\n"},
};

constexpr UnknownKeyRow kUnknownPortKey[] = {
    {{kWindows}, "One or more specified parameters are not supported\n"},
    {{kFreeBsd}, "One or more specified parameters are not supported or are not settable\n"},
    {{kLinux, kSolaris, kEsx, kMac, kXen},
     "line num 2686\nOne or more specified parameters are not supported\n"},
};

template <const auto& Rows>
const char* TextFor(uint8_t os_type) {
    for (const UnknownKeyRow& row : Rows) {
        if (row.systems.Has(os_type)) return row.text;
    }
    return nullptr;
}

constexpr OsSet kCardAgents = {kWindows, kLinux, kSolaris, kFreeBsd, kMac, kXen};
constexpr OsSet kPortAgents = {kWindows, kLinux, kSolaris, kFreeBsd, kEsx, kMac, kXen};

bool IsLocation(const Client_Request_Argument& key) {
    return ValueOf(key).size() <= sizeof(PortRequest::pci_bus_location);
}

/// Decimal digits, after one "-" where the agent takes negative values.
bool IsCardValue(const Client_Request_Argument& key, uint8_t os_type) {
    if (key.key == kPciKey) return IsLocation(key);
    const std::string_view text = ValueOf(key);
    const bool negative = text.starts_with('-');
    return IsAllDigits(text.substr(negative)) && !(negative && os_type == kWindows);
}

/// A number, but for two keys, for any agent.
bool IsPortValue(const Client_Request_Argument& key, uint8_t /*os_type*/) {
    if (key.key == kPciKey) return IsLocation(key);
    if (key.key == AdapterKey("advertise") || key.key == AdapterKey("speedduplex")) return true;
    return AsCReads(ValueOf(key)).has_value();
}

constexpr Argument kCardArguments[] = {
    ZWMGMT_ARGUMENT(CardPropertyRequest, "pci", Adapter, pci_bus_location, kText,
                    .takes = "a PCI bus location", .systems = kCardAgents),
};

constexpr Argument kPortArguments[] = {
    ZWMGMT_ARGUMENT(PortRequest, "pci", Adapter, pci_bus_location, kText,
                    .takes = "a PCI bus location", .systems = kPortAgents),
    ZWMGMT_ARGUMENT(PortRequest, "port", Adapter, port_instance, kNumber, .read = AsCReads,
                    .takes = "a number from 0", .systems = kPortAgents),
};

constexpr Required kCardRequired[] = {
    {kPciKey, Required::kGiven, "please specify PCIBuslocation for the card\n"},
};

constexpr Required kPortRequired[] = {
    {kPortKey, Required::kGiven, "please specify portinstance\n"},
    {kPciKey, Required::kGiven, "please specify pci bus location\n"},
};

const RequestForm kCardForm = {.service = kKorvane,
                               .command = kSetCardProperty,
                               .record_size = sizeof(CardPropertyRequest),
                               .arguments = kCardArguments,
                               .required = kCardRequired,
                               .wrong = kInvalidText,
                               .mask_offset = offsetof(CardPropertyRequest, set_mask),
                               .settings = CardProperties(),
                               .settings_offset = offsetof(CardPropertyRequest, settings),
                               .unknown_by_os = TextFor<kUnknownCardKey>,
                               .is_value = IsCardValue};

const RequestForm kPortForm = {.service = kKorvane,
                               .command = kSetPortProperty,
                               .record_size = sizeof(PortRequest),
                               .arguments = kPortArguments,
                               .required = kPortRequired,
                               .wrong = kInvalidText,
                               .mask_offset = offsetof(PortRequest, set_mask),
                               .settings = PortProperties(),
                               .settings_offset = offsetof(PortRequest, settings),
                               .unknown_by_os = TextFor<kUnknownPortKey>,
                               .is_value = IsPortValue};

template <class Record>
int SetProperties(ZwMgmt_interface& session, const Client_Request_Message* request,
                  _Message* message, const RequestForm& form, const char* no_property) {
    Record record = {};
    record.os_type = session.OsType();
    const auto keys = KeysOf(request);
    if (const int refused = ReadArguments(session, keys, form, &record)) return refused;
    if (const int refused = CheckRequired(session, keys, form, &record)) return refused;
    if (record.set_mask == 0) return Refuse(session, no_property);
    return Fill(session, message, form.service, form.command, &record, sizeof(record));
}

}  // namespace

std::span<const RequestForm* const> zwmgmt::PropertyForms() {
    static const RequestForm* const kForms[] = {&kCardForm, &kPortForm};
    return kForms;
}

int ZwMgmt_interface::CLSetKorvaneCardProp(Client_Request_Message* request, _Message* message) {
    return SetProperties<CardPropertyRequest>(*this, request, message, kCardForm,
                                              "Please specify atleast one property to be set\n");
}

int ZwMgmt_interface::CLSetKorvanePortProp(Client_Request_Message* request, _Message* message) {
    return SetProperties<PortRequest>(
        *this, request, message, kPortForm,
        "Please specify atleast one property to be set or you might be specifying the wrong "
        "parameters for the target platform\n");
}
