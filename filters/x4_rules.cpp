/// The keys of an X4 filter rule: one row a key, and the checks of their values.
#include "filters/x4_rules.h"

#include <algorithm>
#include <string>

#include "commands/handler.h"
#include "commands/keys.h"
#include "platform/address.h"
#include "records/x4_rule.h"

using namespace zwmgmt;

namespace {

constexpr auto kActions = NumberedWords<kX4Actions>();
constexpr auto kVlanActions = NumberedWords<kX4VlanActions>();

constexpr const char* kInvalidX4 = "Invalid X4 filter argument/value \n";

bool IsAbove(uint32_t number, int bits) { return bits < 32 && number >> bits != 0; }

/// Twelve hexadecimal digits, separated after every second one, or nowhere.
bool IsMac(std::string_view text) {
    const size_t stride = text.size() == 17 ? 3 : 2;
    if (text.size() != 12 && text.size() != 17) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool separator = i % stride == 2;
        const bool digit = ZwMgmt_interface::CLhex_char_to_number(text[i]) < 16;
        if (separator ? text[i] != ':' && text[i] != '-' : !digit) return false;
    }
    return true;
}

constexpr const char* kFamilyNames[] = {"IPv4", "IPv6"};

// What follows sets values that complain in words of their own: there is a session.

template <class Member>
Verdict Store(const Argument& row, void* record, const Member& member) {
    std::memcpy(static_cast<char*>(record) + row.offset, &member, sizeof(member));
    return {};
}

Verdict SetNumber(ZwMgmt_interface* session, const Argument& row,
                  const Client_Request_Argument& key, void* record) {
    uint32_t number = 0;
    if (session->CLFilterCheckProp(row.name, key.value, &number) != 0) return Wrong();
    if (!row.rule.Allows(number)) {
        Remarks::Warn(*session, key, ": %u is outside %s, and is sent as it is", number,
                      RangeText(row.rule.least, row.rule.most).c_str());
    }
    return Store(row, record, number);
}

/// The library warns of values beyond so many bits, agents may take fewer.
template <int Bits>
Verdict SetMasked(ZwMgmt_interface* session, const Argument& row,
                  const Client_Request_Argument& key, void* record) {
    uint32_t value = 0;
    uint32_t mask = 0;
    if (session->CLFilterCheckPropMask(row.name, key.value, &value, &mask, Bits) != 0) {
        return Wrong();
    }
    if (!IsHeeded(row, value, mask)) {
        Remarks::Warn(*session, key, ": more than %d bits, and sent as it is", BitsOf(row));
    }
    return Store(row, record, FilterField{value, mask});
}

Verdict SetMac(ZwMgmt_interface* session, const Argument& row, const Client_Request_Argument& key,
               void* record) {
    if (!IsMac(ValueOf(key))) {
        session->PrintOutput("%s invalid mac address\n", row.name);
        return Wrong();
    }
    SetFixedText(static_cast<char*>(record) + row.offset, row.width, ValueOf(key));
    return {};
}

/// The family that a type or an address has given the rule; -1 before.
int FamilyOf(const _FilterX4& rule) {
    return (rule.present & kX4FamilyBits) != 0 ? static_cast<int>(rule.address_family) : -1;
}

Verdict SetAddress(ZwMgmt_interface* session, const Argument& row,
                   const Client_Request_Argument& key, void* record) {
    auto* rule = static_cast<_FilterX4*>(record);
    int family = FamilyOf(*rule);
    FilterAddress filled = {};
    if (session->CLFilterCheckIPAddress(row.name, key.value, &family, filled.address,
                                        filled.mask) != 0) {
        return Wrong();
    }
    rule->address_family = static_cast<uint32_t>(family);
    return Store(row, record, filled);
}

Verdict SetType(ZwMgmt_interface* session, const Argument& /*row*/,
                const Client_Request_Argument& key, void* record) {
    auto* rule = static_cast<_FilterX4*>(record);
    const std::string_view text = ValueOf(key);
    const bool ipv6 = text == "ipv6";
    if (!ipv6 && text != "ipv4") {
        session->PrintOutput("type should be either ipv4 or ipv6\n");
        return Wrong();
    }
    if (ipv6 && (rule->id == 0 || rule->id % 4 != 0)) {
        session->PrintOutput(
            "type=ipv6 can be specified with \t\t\t\t\t filter id of mod 4 eg 4,8,12,16 ...\n");
        return Wrong();
    }
    const int family = FamilyOf(*rule);
    if (family != -1 && family != ipv6) return Wrong();
    rule->address_family = ipv6;
    return {};
}

Verdict SetVlanAction(ZwMgmt_interface* session, const Argument& row,
                      const Client_Request_Argument& key, void* record) {
    const auto* word = std::ranges::find(kVlanActions, ValueOf(key), &Word::word);
    if (word != std::end(kVlanActions)) return Store(row, record, word->number);
    session->PrintOutput("failure\n");
    return Wrong();
}

/// Only some VLAN actions ask for a value.
Verdict SetVlanValue(ZwMgmt_interface* session, const Argument& row,
                     const Client_Request_Argument& key, void* record) {
    const auto* rule = static_cast<const _FilterX4*>(record);
    if ((rule->present & X4Bit("vlan_action")) == 0) return Wrong();
    constexpr uint32_t kNone = kVlanActions[0].number;
    return rule->vlan_action == kNone ? Verdict{} : SetNumber(session, row, key, record);
}

// A row, of a member that has no bit or of one that has.
#define X4_BARE(word, member, form, ...) \
    ZWMGMT_ARGUMENT(_FilterX4, word, Filter, member, form, __VA_ARGS__)
#define X4(word, member, form, ...) X4_BARE(word, member, form, .bit = X4Bit(#member), __VA_ARGS__)
#define X4_NUMBER(word, member, its_rule, its_name, ...) \
    X4(word, member, kNumber, .rule = its_rule, .set = SetNumber, .name = its_name, __VA_ARGS__)
#define X4_MASKED_IN(bits, word, member, heeded_bits, its_name)                            \
    X4(word, member, kMasked, .rule = {0, (1 << heeded_bits) - 1}, .set = SetMasked<bits>, \
       .name = its_name)
#define X4_MASKED(word, member, bits, its_name) X4_MASKED_IN(bits, word, member, bits, its_name)

constexpr Rule kAnyNumber = {};
constexpr Rule kPriorities = {0, 7};
constexpr Rule kQueues = {0, 1023};
constexpr Rule kPorts = {0, 7};
constexpr const char* kFromZero = "a number from 0";

// clang-format off
constexpr Argument kArguments[] = {
    X4_BARE("pci", pci_bus_location, kName, .takes = "a PCI bus location"),
    X4_BARE("id", id, kNumber, .rule = {1, UINT32_MAX, kInvalidX4}, .read = Decimal<uint32_t>, .takes = "a number from 1; of IPv6 rules a multiple of 4"),
    X4_BARE("comb", combination, kName, .takes = "a text"),
    X4_MASKED("fcoe", fcoe, 1, "fcoe"),
    X4_MASKED("port", port, 3, "iport"),
    X4_MASKED("vlan", vlan, 16, "ivlan"),
    X4_MASKED("ovlan", ovlan, 16, "ovlan"),
    X4_MASKED("pf", pf, 8, "pf"),
    X4_MASKED("vf", vf, 8, "vf"),
    X4_MASKED("tos", tos, 8, "tos"),
    X4_MASKED("protocol", protocol, 8, "proto"),
    X4_MASKED("ethertype", ethertype, 16, "ethtype"),
    X4_MASKED("macmatch", macmatch, 9, "macidx"),
    X4_MASKED("mpshittype", mpshittype, 3, "matchtype"),
    X4_MASKED("fragmentation", fragmentation, 1, "frag"),
    X4_MASKED_IN(32, "lport", lport, 16, "lport"),
    X4_MASKED_IN(32, "fport", fport, 16, "fport"),
    X4("lip", lip, kAddress, .set = SetAddress, .name = "lip"),
    X4("fip", fip, kAddress, .set = SetAddress, .name = "fip"),
    X4("x4action", action, kWord, .words = kActions),
    X4("x4vlan", vlan_action, kWord, .words = kVlanActions, .set = SetVlanAction),
    X4_NUMBER("hitcnts", hitcnts, kAnyNumber, "hitcnts", .takes = kFromZero),
    X4_NUMBER("x4prio", prio, kPriorities, "prio"),
    X4_NUMBER("x4queue", queue, kQueues, "queue"),
    X4_NUMBER("tcbhash", tcbhash, kAnyNumber, "tcbhash", .takes = kFromZero),
    X4_NUMBER("eport", eport, kPorts, "eport"),
    X4("type", address_family, kOther, .set = SetType, .takes = "ipv4 or ipv6; ipv6 after an id that is a multiple of 4"),
    X4("smac", smac, kMac, .set = SetMac, .name = "smac"),
    X4("dmac", dmac, kMac, .set = SetMac, .name = "dmac"),
    X4("rpttid", rpttid, kNumber, .read = Decimal<uint32_t>, .takes = "a decimal number"),
    X4("vnic_id", vnic_id, kName, .takes = "a text"),
    X4_BARE("x4vlanval", vlan_value, kOther, .set = SetVlanValue, .name = "x4vlanval", .takes = "a number, after x4vlan"),
};
// clang-format on

#undef X4
#undef X4_BARE
#undef X4_NUMBER
#undef X4_MASKED_IN
#undef X4_MASKED

}  // namespace

std::span<const Argument> zwmgmt::X4Arguments() { return kArguments; }

bool zwmgmt::IsHeeded(const Argument& row, uint32_t value, uint32_t mask) {
    return value <= row.rule.most && (mask <= row.rule.most || mask == UINT32_MAX);
}

uint8_t ZwMgmt_interface::CLFilterCheckProp(const char* name, const char* text, uint32_t* value) {
    const auto number = InCNotation(text != nullptr ? text : "");
    if (!number) {
        PrintOutput("parameter \"%s\" has bad \"value\" %s\n", name, text != nullptr ? text : "");
        return 1;
    }
    *value = static_cast<uint32_t>(*number);
    return 0;
}

uint8_t ZwMgmt_interface::CLFilterCheckPropMask(const char* name, const char* text, uint32_t* value,
                                                uint32_t* mask, int bits) {
    const std::string_view whole = text != nullptr ? text : "";
    const size_t colon = whole.find(':');
    const auto read = InCNotation(whole.substr(0, colon));
    const auto read_mask = colon != whole.npos ? InCNotation(whole.substr(colon + 1))
                                               : std::optional<int64_t>(UINT32_MAX);
    if (!read || !read_mask) {
        PrintOutput("parameter \"%s\" has bad \"value[:mask]\" %s\n", name, whole.data());
        return 1;
    }
    const auto number = static_cast<uint32_t>(*read);
    const auto number_mask = static_cast<uint32_t>(*read_mask);
    if (IsAbove(number, bits)) {
        PrintOutput("parameter \"%s\" value should be no greater than %d bits\n", name, bits);
    }
    if (colon != whole.npos && IsAbove(number_mask, bits)) {
        PrintOutput("parameter \"%s\" mask should be no greater than %d bits\n", name, bits);
    }
    *value = number;
    *mask = number_mask;
    return 0;
}

uint8_t ZwMgmt_interface::CLFilterCheckIPAddress(const char* name, const char* text, int* family,
                                                 uint8_t* address, uint8_t* mask) {
    const std::string_view whole = text != nullptr ? text : "";
    const int found = whole.find(':') != whole.npos;
    const char* family_name = kFamilyNames[found];
    if (*family != -1 && *family != found) {
        PrintOutput("address %s is not of expected family %s\n", whole.data(),
                    kFamilyNames[*family != 0]);
        return 1;
    }
    const auto parsed_family = found ? platform::Family::kIpv6 : platform::Family::kIpv4;
    const auto width = static_cast<uint32_t>(8 * platform::AddressSize(parsed_family));
    uint32_t prefix = width;
    const size_t slash = whole.find('/');
    if (slash != whole.npos) {
        const std::string_view length = whole.substr(slash + 1);
        if (length.empty()) {
            PrintOutput("missing address prefix for %s\n", name);
            return 1;
        }
        const auto number = Decimal<uint32_t>(length);
        if (!number) {
            PrintOutput("%s is not a valid address prefix\n", length.data());
            return 1;
        }
        prefix = static_cast<uint32_t>(*number);
        if (prefix > width) {
            PrintOutput("prefix %u is too long for an %s address\n", prefix, family_name);
            return 1;
        }
    }
    char bare[64] = "";
    uint8_t bytes[16] = {};
    const std::string_view bare_text = whole.substr(0, slash);
    if (bare_text.size() < sizeof(bare)) SetFixedText(bare, bare_text);
    if (!platform::ParseAddress(parsed_family, bare, bytes)) {
        PrintOutput("Cannot parse %s %s address %s\n", name, family_name, whole.data());
        return 1;
    }
    std::memcpy(address, bytes, sizeof(bytes));
    std::memset(mask, 0, sizeof(bytes));
    std::memset(mask, 0xFF, prefix / 8);
    if (prefix % 8 != 0) mask[prefix / 8] = static_cast<uint8_t>(0xFF << (8 - prefix % 8));
    *family = found;
    return 0;
}

uint8_t ZwMgmt_interface::CLSetFilterX4Arg(int key, const char* value, _FilterX4* rule) {
    const Argument* row = FindArgument(kArguments, OsType(), key);
    if (row == nullptr || value == nullptr) return 1;
    if (SetArgument(this, *row, {value, key}, rule).result != 0) return 1;
    rule->present |= row->bit;
    return 0;
}
