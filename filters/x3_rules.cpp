/// The keys of an X3 filter rule: one row a key.
#include "filters/x3_rules.h"

#include "commands/handler.h"
#include "commands/keys.h"
#include "records/x3_rule.h"

namespace zwmgmt {
namespace {

constexpr int64_t kHighest = std::numeric_limits<int32_t>::max();
constexpr auto kProtocols = NumberedWords<kX3Protocols>();
constexpr auto kActions = NumberedWords<kX3Actions>();

/// Octets by their low bits, so that what is sent may differ from what was written.
bool SetQuad(ZwMgmt_interface* session, const Client_Request_Argument& key, std::string_view text,
             uint8_t (&octets)[4]) {
    constexpr uint8_t kAddressMode = 1;
    char quad[16];
    if (text.size() >= sizeof(quad)) return false;
    SetFixedText(quad, text);
    if (ZwMgmt_interface::CLstr2ipoctets(quad, nullptr, octets, kAddressMode, nullptr, nullptr)) {
        return false;
    }
    char sent[16];
    std::snprintf(sent, sizeof(sent), "%d.%d.%d.%d", octets[0], octets[1], octets[2], octets[3]);
    if (session != nullptr && text != sent) Remarks::Warn(*session, key, " is sent as %s", sent);
    return true;
}

Verdict SetDestination(ZwMgmt_interface* session, const Argument& /*row*/,
                       const Client_Request_Argument& key, void* record) {
    auto* rule = static_cast<_Filter*>(record);
    return SetQuad(session, key, ValueOf(key), rule->destination_address) ? Verdict{} : Wrong();
}

/// An address, or one and the length of its prefix, of which any is taken: the agent judges it.
Verdict SetSource(ZwMgmt_interface* session, const Argument& /*row*/,
                  const Client_Request_Argument& key, void* record) {
    auto* rule = static_cast<_Filter*>(record);
    const std::string_view text = ValueOf(key);
    const size_t slash = text.find('/');
    const auto length =
        slash != text.npos ? Decimal<int32_t>(text.substr(slash + 1)) : std::optional<int64_t>(0);
    if (!SetQuad(session, key, text.substr(0, slash), rule->source_address) || !length) {
        return Wrong();
    }
    if (slash == text.npos) return {};
    rule->source_prefix = static_cast<int32_t>(*length);
    rule->present |= X3Bit("source_prefix");
    if (session != nullptr && !kX3PrefixLengths.Allows(*length)) {
        Remarks::Warn(*session, key, ": the length %d is outside 0 to 32, and is sent as it is",
                      rule->source_prefix);
    }
    return {};
}

#define X3(word, member, form, ...) \
    ZWMGMT_ARGUMENT(_Filter, word, Filter, member, form, .bit = X3Bit(#member), __VA_ARGS__)

// clang-format off
constexpr Argument kName = X3("ifname", interface_name, kName, .takes = "a name");
constexpr Argument kSize = ZWMGMT_ARGUMENT(_Filter, "max", Filter, max, kNumber, .rule = {1, 1024}, .read = Decimal<int32_t>, .takes = "1 to 1024; of set alone");
constexpr Argument kTableArguments[] = {kName, kSize};

constexpr Argument kArguments[] = {
    kName,
    X3("id", id, kNumber, .rule = {1, kHighest}, .read = DecimalButZero),
    X3("sip", source_address, kOther, .set = SetSource, .takes = "an IPv4 address, or address/length: 0 to 32"),
    X3("sport", source_port, kNumber, .rule = {0, 65535}, .read = DecimalFromZero),
    X3("dip", destination_address, kOther, .set = SetDestination, .takes = "an IPv4 address"),
    X3("dport", destination_port, kNumber, .rule = {0, 65535}, .read = DecimalFromZero),
    X3("vlanid", vlan_id, kNumber, .rule = {1, kHighestVlan, "Invalid vlanid\n"}, .read = Decimal<int32_t>),
    X3("prio", vlan_priority, kNumber, .rule = {0, 7}, .read = Decimal<int32_t>),
    X3("mac", mac_index, kNumber, .rule = {0, 15}, .read = Decimal<int32_t>),
    X3("proto", protocol, kWord, .words = kProtocols),
    X3("queue", queue, kNumber, .rule = {0, 7}, .read = Decimal<int32_t>),
    X3("action", action, kWord, .words = kActions),
    kSize,
};
// clang-format on

#undef X3

}  // namespace

std::span<const Argument> X3Arguments() {
    return std::span(kArguments).first(std::size(kArguments) - 1);
}
std::span<const Argument> X3AllArguments() { return kArguments; }
std::span<const Argument> X3TableArguments() { return kTableArguments; }

}  // namespace zwmgmt

uint8_t ZwMgmt_interface::CLSetFilterArg(int key, const char* value, _Filter* rule) {
    const zwmgmt::Argument* row = zwmgmt::FindArgument(zwmgmt::X3AllArguments(), 0, key);
    if (row == nullptr || value == nullptr) return 1;
    if (zwmgmt::SetArgument(nullptr, *row, {value, key}, rule).result != 0) return 1;
    rule->present |= row->bit;
    return 0;
}
