/// Requests of host networking.
#include <string>

#include "cli/handler.h"
#include "cli/keys.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kIpKey = NetworkingKey("ip");
constexpr int kIpVersionKey = NetworkingKey("ipversion");
constexpr int kPacketsKey = NetworkingKey("numpkts");
constexpr int kTimeoutKey = NetworkingKey("timeout");
constexpr int kHostKey = NetworkingKey("host");
constexpr int kDomainKey = NetworkingKey("domain");

constexpr const char* kInvalidArgument = "Invalid argument specified\n";

/// How ping and trace route differ.
struct Probe {
    Command start;
    Command result;
    const char* no_target;
    bool counts;  // takes a number of packets and a timeout
};

constexpr Probe kPingProbe = {
    kPing, kPingResult, "Please specify any one of ip address or hostname or domain name to ping\n",
    true};
constexpr Probe kTraceRouteProbe = {
    kTraceRoute, kTraceRouteResult,
    "Please specify any one of ip address or hostname or domain name to traceroute\n", false};

/// A request in the making. The order of the keys matters: an address is converted when its version
/// comes.
class ProbeBuilder {
  public:
    ProbeBuilder(ZwMgmt_interface& complaining_session, const Probe& built_probe)
        : session(complaining_session), probe(built_probe) {
        if (!probe.counts) return;
        payload.packet_count = 4;
        payload.timeout_ms = 2000;
    }

    /// Null, or what is wrong with the key.
    const char* Take(const Client_Request_Argument& key) {
        const std::string_view value = ValueOf(key);
        switch (key.key) {
            case kIpKey: address = &key; return nullptr;
            case kIpVersionKey: return TakeVersion(key);
            case kHostKey:
                if (value.find('.') != value.npos) {
                    return "Please specify a hostname instead of a domain name\n";
                }
                return TakeName(kPingHost, key);
            case kDomainKey:
                if (value.find('.') == value.npos) {
                    return "Please specify a domain name instead of a host name\n";
                }
                return TakeName(kPingDomain, key);
            case kPacketsKey: return TakePackets(key);
            case kTimeoutKey: return TakeTimeout(key);
            default: return kInvalidArgument;
        }
    }

    int Finish(_Message* message) {
        if (address != nullptr && name_given) return Refuse(session, probe.no_target);
        if (address != nullptr && !version_given) {
            return Refuse(session, "Please provide a valid ip address family\n");
        }
        if (address == nullptr && !name_given) return Refuse(session, probe.no_target);
        message->service = kNet;
        message->opcode = probe.start;
        return AttachData(message, &payload, sizeof(payload)) ? 0
                                                              : Refuse(session, "Out of memory\n");
    }

  private:
    const char* TakeVersion(const Client_Request_Argument& key) {
        const std::string_view version = ValueOf(key);
        const bool ipv4 = version == "ipv4";
        if (!ipv4 && version != "ipv6") return "Please specify the family correctly.\n";
        version_given = true;
        payload.target_kind = ipv4 ? kPingIpv4 : kPingIpv6;
        std::memset(payload.target, 0, sizeof(payload.target));
        const uint8_t family = ipv4 ? 2 : 10;
        const char* text = address != nullptr ? address->value : nullptr;
        if (!ZwMgmt_interface::CLInet_Pton(family, text, payload.target, sizeof(payload.target))) {
            if (address == nullptr) {
                Remarks::Refuse(session, key, "ip comes before it");
            } else {
                Remarks::Refuse(session, *address,
                                ipv4 ? "expected an IPv4 address" : "expected an IPv6 address");
            }
            return "Cannot convert ip address from dotted decimal format to binary format\n";
        }
        return nullptr;
    }

    const char* TakeName(PingTarget kind, const Client_Request_Argument& key) {
        name_given = true;
        payload.target_kind = kind;
        SetFixedText(payload.target, sizeof(payload.target), ValueOf(key));
        const std::string_view sent = FixedText(payload.target, sizeof(payload.target));
        if (sent != ValueOf(key)) {
            Remarks::Warn(session, key, " is sent as %.*s", static_cast<int>(sent.size()),
                          sent.data());
        }
        return nullptr;
    }

    const char* TakeNumber(const Client_Request_Argument& key, int32_t* number) const {
        if (!probe.counts) return kInvalidArgument;
        return ParseDecimal(ValueOf(key), number) ? nullptr : "Invalid value specified\n";
    }

    const char* TakePackets(const Client_Request_Argument& key) {
        int32_t packets = 0;
        if (const char* wrong = TakeNumber(key, &packets)) return wrong;
        payload.packet_count = static_cast<uint8_t>(packets);
        if (payload.packet_count != packets) {
            Remarks::Warn(session, key, " is sent as %d", payload.packet_count);
        }
        return nullptr;
    }

    const char* TakeTimeout(const Client_Request_Argument& key) {
        int32_t seconds = 0;
        if (const char* wrong = TakeNumber(key, &seconds)) return wrong;
        // The product is formed in 32 bits.
        payload.timeout_ms = static_cast<int32_t>(static_cast<uint32_t>(seconds) * 1000u);
        if (payload.timeout_ms != int64_t{seconds} * 1000) {
            Remarks::Warn(session, key, " is sent as %lld ms",
                          static_cast<long long>(payload.timeout_ms));
        }
        return nullptr;
    }

    ZwMgmt_interface& session;
    const Probe& probe;
    PingRequest payload = {};
    const Client_Request_Argument* address = nullptr;
    bool version_given = false;
    bool name_given = false;
};

int BuildProbe(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
               const Probe& probe) {
    const uint32_t count = request->arguments != nullptr ? request->argument_count : 0;
    if (count == 1 && SameIgnoringCase(ValueOf(request->arguments[0]), "getresult")) {
        return Fill(session, message, kNet, probe.result);
    }
    if (count == 0) return Refuse(session, probe.no_target);
    ProbeBuilder builder(session, probe);
    for (uint32_t i = 0; i < count; ++i) {
        const Client_Request_Argument& key = request->arguments[i];
        if (const char* wrong = builder.Take(key)) return Refuse(session, key, wrong);
    }
    return builder.Finish(message);
}

}  // namespace

int ZwMgmt_interface::CLPing(Client_Request_Message* request, _Message* message) {
    return BuildProbe(*this, request, message, kPingProbe);
}

int ZwMgmt_interface::CLTraceRoute(Client_Request_Message* request, _Message* message) {
    if (message->os_type == kXen) return kNotForThisAgent;
    return BuildProbe(*this, request, message, kTraceRouteProbe);
}

int ZwMgmt_interface::CLSetMTU(Client_Request_Message* request, _Message* message) {
    constexpr auto kHighest = static_cast<int32_t>(kHighestMtu);
    if (!BeginsWith(request, "set")) return Refuse(*this, "please specify a valid sub command\n");
    MtuRequest payload = {};
    for (const Client_Request_Argument& key : KeysOf(request)) {
        const std::string_view value = ValueOf(key);
        if (key.key == NetworkingKey("ifname")) {
            if (!SetWhole(payload.interface_name, value)) {
                return Refuse(*this, key, kInvalidArgument);
            }
        } else if (key.key == NetworkingKey("mtu")) {
            int32_t mtu = 0;
            const bool number = ParseDecimal(value, &mtu);
            if (IsAllDigits(value) && (!number || mtu > kHighest)) {
                return Refuse(*this, key, "You have entered very high value for mtu!!!!\n");
            }
            if (!number || mtu < 1)
                return Refuse(*this, key, "Please specify postive value for mtu\n");
            payload.mtu = static_cast<uint32_t>(mtu);
        } else {
            return Refuse(*this, key, kInvalidArgument);
        }
    }
    if (os_type == kWindows && payload.interface_name[0] == '\0') {
        return Refuse(*this, "please specify IfName\n");
    }
    if (payload.mtu == 0) return Refuse(*this, "Plese specify MTU\n");
    return Fill(*this, message, kNet, kSetMtu, &payload, sizeof(payload));
}
