/// Requests of host networking.
#include "commands/arguments.h"
#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"

using namespace zwmgmt;

namespace {

constexpr const char* kInvalidArgument = "Invalid argument specified\n";

/// A ping or trace route in the making. The order of the keys matters: an address is converted when
/// its version comes.
struct Probe {
    PingRequest payload;
    const Client_Request_Argument* address;
    bool version_given;
    bool name_given;
};

Verdict KeepAddress(ZwMgmt_interface* /*session*/, const Argument& /*row*/,
                    const Client_Request_Argument& key, void* record) {
    static_cast<Probe*>(record)->address = &key;
    return {};
}

Verdict ConvertAddress(ZwMgmt_interface* session, const Argument& /*row*/,
                       const Client_Request_Argument& key, void* record) {
    auto& probe = *static_cast<Probe*>(record);
    auto& target = probe.payload.target;
    const std::string_view version = ValueOf(key);
    const bool ipv4 = version == "ipv4";
    if (!ipv4 && version != "ipv6") return Wrong("Please specify the family correctly.\n");
    probe.version_given = true;
    probe.payload.target_kind = ipv4 ? kPingIpv4 : kPingIpv6;
    std::memset(target, 0, sizeof(target));
    const char* text = probe.address != nullptr ? probe.address->value : nullptr;
    if (ZwMgmt_interface::CLInet_Pton(ipv4 ? 2 : 10, text, target, sizeof(target))) return {};
    if (probe.address == nullptr) {
        Remarks::Refuse(*session, key, "ip comes before it");
    } else {
        Remarks::Refuse(*session, *probe.address,
                        ipv4 ? "expected an IPv4 address" : "expected an IPv6 address");
    }
    return Wrong("Cannot convert ip address from dotted decimal format to binary format\n");
}

/// A name that does not fit is cut.
template <PingTarget Kind>
Verdict SetName(ZwMgmt_interface* session, const Argument& row, const Client_Request_Argument& key,
                void* record) {
    auto& probe = *static_cast<Probe*>(record);
    auto& target = probe.payload.target;
    if ((ValueOf(key).find('.') != std::string_view::npos) != (Kind == kPingDomain)) {
        return Wrong(row.wrong);
    }
    probe.name_given = true;
    probe.payload.target_kind = Kind;
    SetFixedText(target, sizeof(target), ValueOf(key));
    const std::string_view sent = FixedText(target, sizeof(target));
    if (sent != ValueOf(key)) {
        Remarks::Warn(*session, key, " is sent as %.*s", static_cast<int>(sent.size()),
                      sent.data());
    }
    return {};
}

/// Of a number that is sent in other bits.
Verdict SetPackets(ZwMgmt_interface* session, const Argument& row,
                   const Client_Request_Argument& key, void* record) {
    const auto packets = Decimal<int32_t>(ValueOf(key));
    if (!packets) return Wrong(row.wrong);
    auto& payload = static_cast<Probe*>(record)->payload;
    payload.packet_count = static_cast<uint8_t>(*packets);
    if (payload.packet_count != *packets) {
        Remarks::Warn(*session, key, " is sent as %d", payload.packet_count);
    }
    return {};
}

/// The product is formed in 32 bits.
Verdict SetTimeout(ZwMgmt_interface* session, const Argument& row,
                   const Client_Request_Argument& key, void* record) {
    const auto seconds = Decimal<int32_t>(ValueOf(key));
    if (!seconds) return Wrong(row.wrong);
    auto& payload = static_cast<Probe*>(record)->payload;
    payload.timeout_ms = static_cast<int32_t>(static_cast<uint32_t>(*seconds) * 1000u);
    if (payload.timeout_ms != *seconds * 1000) {
        Remarks::Warn(*session, key, " is sent as %lld ms",
                      static_cast<long long>(payload.timeout_ms));
    }
    return {};
}

constexpr const char* kNoNumber = "Invalid value specified\n";
constexpr OsSet kNotXen = {kWindows, kLinux, kSolaris, kFreeBsd, kEsx, kMac};

#define PROBE(word, member, setter, ...) \
    ZWMGMT_ARGUMENT(Probe, word, Networking, payload.member, kOther, .set = setter, __VA_ARGS__)

// Where a probe goes to, and what a ping has besides.
#define PROBE_TARGETS(agents)                                                                    \
    PROBE("ip", target, KeepAddress, .takes = "an address; before ipversion", .heeded = agents), \
        PROBE("ipversion", target_kind, ConvertAddress, .takes = "ipv4 or ipv6",                 \
              .heeded = agents),                                                                 \
        PROBE("host", target, SetName<kPingHost>,                                                \
              .wrong = "Please specify a hostname instead of a domain name\n",                   \
              .takes = "a host name without dots, at most 64 characters", .heeded = agents),     \
        PROBE("domain", target, SetName<kPingDomain>,                                            \
              .wrong = "Please specify a domain name instead of a host name\n",                  \
              .takes = "a domain name, at most 64 characters", .heeded = agents)

constexpr Argument kPingArguments[] = {
    PROBE_TARGETS(OsSet::Any()),
    PROBE("numpkts", packet_count, SetPackets, .wrong = kNoNumber, .takes = "1 to 255"),
    PROBE("timeout", timeout_ms, SetTimeout, .wrong = kNoNumber, .takes = "1 to 2147483 seconds"),
};

constexpr Argument kTraceRouteArguments[] = {PROBE_TARGETS(kNotXen)};

#undef PROBE
#undef PROBE_TARGETS

constexpr RequestForm kPingForm = {.service = kNet,
                                   .command = kPing,
                                   .record_size = sizeof(PingRequest),
                                   .arguments = kPingArguments,
                                   .unknown = kInvalidArgument};
constexpr RequestForm kTraceRouteForm = {.service = kNet,
                                         .command = kTraceRoute,
                                         .record_size = sizeof(PingRequest),
                                         .arguments = kTraceRouteArguments,
                                         .unknown = kInvalidArgument};

int BuildProbe(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
               const RequestForm& form, Command result, Probe probe, const char* no_target) {
    const uint32_t count = request->arguments != nullptr ? request->argument_count : 0;
    const std::span<const Client_Request_Argument> keys(request->arguments, count);
    if (count == 1 && SameIgnoringCase(ValueOf(keys[0]), "getresult")) {
        return Fill(session, message, kNet, result);
    }
    if (const int refused = ReadArguments(session, keys, form, &probe)) return refused;
    const bool address_given = probe.address != nullptr;
    if (address_given == probe.name_given) return Refuse(session, no_target);
    if (address_given && !probe.version_given) {
        return Refuse(session, "Please provide a valid ip address family\n");
    }
    message->service = form.service;
    message->opcode = form.command;
    return AttachData(message, &probe.payload, sizeof(probe.payload))
               ? 0
               : Refuse(session, "Out of memory\n");
}

/// Two complaints, for numbers that are too high and for all else.
Verdict SetMtu(ZwMgmt_interface* /*session*/, const Argument& row,
               const Client_Request_Argument& key, void* record) {
    const auto mtu = Decimal<int32_t>(ValueOf(key));
    if (IsAllDigits(ValueOf(key)) && (!mtu || *mtu > row.rule.most)) {
        return Wrong("You have entered very high value for mtu!!!!\n");
    }
    if (!mtu || *mtu < row.rule.least) return Wrong("Please specify postive value for mtu\n");
    static_cast<MtuRequest*>(record)->mtu = static_cast<uint32_t>(*mtu);
    return {};
}

constexpr Argument kMtuArguments[] = {
    ZWMGMT_ARGUMENT(MtuRequest, "ifname", Networking, interface_name, kText, .takes = "a name"),
    ZWMGMT_ARGUMENT(MtuRequest, "mtu", Networking, mtu, kOther, .rule = {1, kHighestMtu},
                    .set = SetMtu, .takes = "1 to 655355 bytes"),
};

constexpr Required kMtuRequired[] = {
    {NetworkingKey("ifname"), Required::kFilled, "please specify IfName\n", {kWindows}},
    {NetworkingKey("mtu"), Required::kFilled, "Plese specify MTU\n"},
};

constexpr RequestForm kMtuForm = {.service = kNet,
                                  .command = kSetMtu,
                                  .record_size = sizeof(MtuRequest),
                                  .arguments = kMtuArguments,
                                  .required = kMtuRequired,
                                  .wrong = kInvalidArgument,
                                  .unknown = kInvalidArgument};

}  // namespace

std::span<const RequestForm* const> zwmgmt::NetForms() {
    static constexpr const RequestForm* kForms[] = {&kPingForm, &kTraceRouteForm, &kMtuForm};
    return kForms;
}

int ZwMgmt_interface::CLPing(Client_Request_Message* request, _Message* message) {
    Probe probe = {};
    probe.payload.packet_count = 4;
    probe.payload.timeout_ms = 2000;
    return BuildProbe(*this, request, message, kPingForm, kPingResult, probe,
                      "Please specify any one of ip address or hostname or domain name to ping\n");
}

int ZwMgmt_interface::CLTraceRoute(Client_Request_Message* request, _Message* message) {
    if (message->os_type == kXen) return kNotForThisAgent;
    return BuildProbe(
        *this, request, message, kTraceRouteForm, kTraceRouteResult, {},
        "Please specify any one of ip address or hostname or domain name to traceroute\n");
}

int ZwMgmt_interface::CLSetMTU(Client_Request_Message* request, _Message* message) {
    if (!BeginsWith(request, "set")) return Refuse(*this, "please specify a valid sub command\n");
    MtuRequest payload = {};
    return BuildRequest(*this, request, message, kMtuForm, &payload);
}
