/// The keys of an X4 filter rule: one row a key, and the checks of their values.
#include "filters/x4_rules.h"

#include <charconv>
#include <string>

#include "cli/command_keys.h"
#include "cli/handler.h"
#include "cli/keys.h"
#include "cli/vocabulary.h"
#include "platform/address.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

enum class Form {
    kText,
    kId,      // decimal, from 1
    kMasked,  // value[:mask]
    kNumber,  // decimal, 0x hexadecimal or 0 octal
    kDecimal,
    kAddress,  // address[/prefix] of either family
    kMac,
    kWord,        // of a list
    kType,        // the family of the rule's addresses
    kVlanAction,  // a word of a list, with a complaint of its own
    kVlanValue,   // a number that the VLAN action asks for
};

struct WordRow {
    std::string_view word;
    uint32_t number;
};

struct X4Key {
    int key;
    uint32_t bit;
    size_t offset;  // in _FilterX4
    size_t width;   // of a text: bytes; of a masked value: bits; of a number: its highest, or 0
    Form form;
    const char* name;  // in messages; not always the key's word
    std::span<const WordRow> words = {};
    size_t heeded_bits = 0;  // of a masked value, where agents take fewer than its width
};

size_t BitsOf(const X4Key& row) { return row.heeded_bits != 0 ? row.heeded_bits : row.width; }

enum VlanAction : uint32_t { kNone = 1, kInsert = 2, kRewrite = 3 };

constexpr WordRow kActions[] = {{"pass", 1}, {"drop", 2}, {"switch", 4}};
constexpr WordRow kVlanActions[] = {{"none", kNone}, {"insert", kInsert}, {"rewrite", kRewrite}};

constexpr uint32_t kLocalAddressBit = 0x4000;
constexpr uint32_t kForeignAddressBit = 0x8000;
constexpr uint32_t kVlanActionBit = 0x20000;
constexpr uint32_t kTypeBit = 0x800000;

// clang-format off
#define X4(word, bit, member, width, form, ...) \
    {FilterKey(word), bit, offsetof(_FilterX4, member), width, Form::form, __VA_ARGS__}
#define X4_TEXT(word, bit, member) X4(word, bit, member, sizeof(_FilterX4::member), kText, word)

constexpr X4Key kX4Keys[] = {
    X4_TEXT("pci",      0, pci_bus_location),
    X4_TEXT("comb",     0, combination),
    X4("id",            0, id, 0, kId, "id"),
    X4("fcoe",          0x1, fcoe, 1, kMasked, "fcoe"),
    X4("port",          0x2, port, 3, kMasked, "iport"),
    X4("vlan",          0x4, vlan, 16, kMasked, "ivlan"),
    X4("ovlan",         0x8, ovlan, 16, kMasked, "ovlan"),
    X4("pf",            0x10, pf, 8, kMasked, "pf"),
    X4("vf",            0x20, vf, 8, kMasked, "vf"),
    X4("tos",           0x40, tos, 8, kMasked, "tos"),
    X4("protocol",      0x80, protocol, 8, kMasked, "proto"),
    X4("ethertype",     0x100, ethertype, 16, kMasked, "ethtype"),
    X4("macmatch",      0x200, macmatch, 9, kMasked, "macidx"),
    X4("mpshittype",    0x400, mpshittype, 3, kMasked, "matchtype"),
    X4("fragmentation", 0x800, fragmentation, 1, kMasked, "frag"),
    X4("lport",         0x1000, lport, 32, kMasked, "lport", {}, 16),
    X4("fport",         0x2000, fport, 32, kMasked, "fport", {}, 16),
    X4("lip",           kLocalAddressBit, lip, 0, kAddress, "lip"),
    X4("fip",           kForeignAddressBit, fip, 0, kAddress, "fip"),
    X4("x4action",      0x10000, action, 0, kWord, "x4action", kActions),
    X4("x4vlan",        kVlanActionBit, vlan_action, 0, kVlanAction, "x4vlan", kVlanActions),
    X4("hitcnts",       0x40000, hitcnts, 0, kNumber, "hitcnts"),
    X4("x4prio",        0x80000, prio, 7, kNumber, "prio"),
    X4("x4queue",       0x100000, queue, 1023, kNumber, "queue"),
    X4("tcbhash",       0x200000, tcbhash, 0, kNumber, "tcbhash"),
    X4("eport",         0x400000, eport, 7, kNumber, "eport"),
    X4("type",          kTypeBit, address_family, 0, kType, "type"),
    X4("smac",          0x1000000, smac, sizeof(_FilterX4::smac), kMac, "smac"),
    X4("dmac",          0x2000000, dmac, sizeof(_FilterX4::dmac), kMac, "dmac"),
    X4("rpttid",        0x4000000, rpttid, 0, kDecimal, "rpttid"),
    X4_TEXT("vnic_id",  0x8000000, vnic_id),
    X4("x4vlanval",     0, vlan_value, 0, kVlanValue, "x4vlanval"),
};

#undef X4
#undef X4_TEXT
// clang-format on

/// One whole number without sign in 32 bits.
bool ParseUnsigned(std::string_view text, int base, uint32_t* number) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), *number, base);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
}

/// The same in C notation: 0x hexadecimal, 0 octal, otherwise decimal.
bool ParseNumber(std::string_view text, uint32_t* number) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        return ParseUnsigned(text.substr(2), 16, number);
    }
    return ParseUnsigned(text, text.starts_with('0') ? 8 : 10, number);
}

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

bool FindWord(std::span<const WordRow> words, std::string_view text, uint32_t* number) {
    const auto row = std::ranges::find(words, text, &WordRow::word);
    if (row == words.end()) return false;
    *number = row->number;
    return true;
}

constexpr const char* kFamilyNames[] = {"IPv4", "IPv6"};

/// Fills the rule from one key; complains where a check has a complaint of its own.
class RuleSetter {
  public:
    RuleSetter(ZwMgmt_interface& complaining_session, _FilterX4* filled_rule)
        : session(complaining_session), rule(*filled_rule) {}

    bool Set(const X4Key& row, const char* text) {
        char* field = reinterpret_cast<char*>(&rule) + row.offset;
        uint32_t number = 0;
        switch (row.form) {
            case Form::kText: return SetText(row, text, field);
            case Form::kMac:
                if (IsMac(text)) return SetText(row, text, field);
                session.PrintOutput("%s invalid mac address\n", row.name);
                return false;
            case Form::kMasked: return SetMasked(row, text, field);
            case Form::kAddress: return SetAddress(row, text, field);
            case Form::kType: return SetType(text);
            case Form::kId:
            case Form::kDecimal:
                if (!ParseUnsigned(text, 10, &number)) return false;
                if (row.form == Form::kId && number < 1) return false;
                break;
            case Form::kNumber:
                if (session.CLFilterCheckProp(row.name, text, &number) != 0) return false;
                break;
            case Form::kWord:
                if (!FindWord(row.words, text, &number)) return false;
                break;
            case Form::kVlanAction:
                if (!FindWord(row.words, text, &number)) {
                    session.PrintOutput("failure\n");
                    return false;
                }
                break;
            case Form::kVlanValue:
                if ((rule.present & kVlanActionBit) == 0) return false;
                if (rule.vlan_action == kNone) return true;  // which takes no value
                if (session.CLFilterCheckProp(row.name, text, &number) != 0) return false;
                break;
        }
        std::memcpy(field, &number, sizeof(number));
        return true;
    }

  private:
    bool SetText(const X4Key& row, std::string_view text, char* field) {
        if (text.empty() || text.size() > row.width) return false;
        SetFixedText(field, row.width, text);
        return true;
    }

    bool SetMasked(const X4Key& row, const char* text, char* field) {
        uint32_t value = 0;
        uint32_t mask = 0;
        if (session.CLFilterCheckPropMask(row.name, text, &value, &mask,
                                          static_cast<int>(row.width)) != 0) {
            return false;
        }
        const FilterField filled = {value, mask};
        std::memcpy(field, &filled, sizeof(filled));
        return true;
    }

    /// The family that a type or an address has given the rule; -1 before.
    int Family() const {
        constexpr uint32_t kGiven = kTypeBit | kLocalAddressBit | kForeignAddressBit;
        return (rule.present & kGiven) != 0 ? static_cast<int>(rule.address_family) : -1;
    }

    bool SetAddress(const X4Key& row, const char* text, char* field) {
        int family = Family();
        FilterAddress filled = {};
        if (session.CLFilterCheckIPAddress(row.name, text, &family, filled.address, filled.mask) !=
            0) {
            return false;
        }
        rule.address_family = static_cast<uint32_t>(family);
        std::memcpy(field, &filled, sizeof(filled));
        return true;
    }

    bool SetType(std::string_view text) {
        const bool ipv6 = text == "ipv6";
        if (!ipv6 && text != "ipv4") {
            session.PrintOutput("type should be either ipv4 or ipv6\n");
            return false;
        }
        if (ipv6 && (rule.id == 0 || rule.id % 4 != 0)) {
            session.PrintOutput(
                "type=ipv6 can be specified with \t\t\t\t\t filter id of mod 4 eg 4,8,12,16 ...\n");
            return false;
        }
        if (Family() != -1 && Family() != ipv6) return false;
        rule.address_family = ipv6;
        return true;
    }

    ZwMgmt_interface& session;
    _FilterX4& rule;
};

std::string TakenBy(const X4Key& row) {
    const std::string width = std::to_string(row.form == Form::kMasked ? BitsOf(row) : row.width);
    switch (row.form) {
        case Form::kText: return "a text of at most " + width + " characters";
        case Form::kId: return "a number from 1; of IPv6 rules a multiple of 4";
        case Form::kMasked:
            return "number[:mask] of " + width + (row.width == 1 ? " bit" : " bits");
        case Form::kNumber: return row.width != 0 ? "0 to " + width : "a number from 0";
        case Form::kDecimal: return "a decimal number";
        case Form::kAddress: return "an IPv4 or IPv6 address, or address/length";
        case Form::kMac: return "12 hexadecimal digits, pairs separated by : or - or not at all";
        case Form::kType: return "ipv4 or ipv6; ipv6 after an id that is a multiple of 4";
        case Form::kVlanValue: return "a number, after x4vlan";
        case Form::kWord:
        case Form::kVlanAction: break;
    }
    std::string words;
    for (const WordRow& row_of_word : row.words) {
        if (!words.empty()) words += ", ";
        words += row_of_word.word;
    }
    return words;
}

}  // namespace

void zwmgmt::NoteX4Value(ZwMgmt_interface& session, const Client_Request_Argument& key,
                         const _FilterX4& rule) {
    const auto* row = std::ranges::find(kX4Keys, int{key.key}, &X4Key::key);
    if (row == std::end(kX4Keys)) return;
    const char* member = reinterpret_cast<const char*>(&rule) + row->offset;
    if (row->form == Form::kMasked) {
        FilterField field;
        std::memcpy(&field, member, sizeof(field));
        const auto bits = static_cast<int>(BitsOf(*row));
        const bool fits =
            !IsAbove(field.value, bits) && (!IsAbove(field.mask, bits) || field.mask == UINT32_MAX);
        if (!fits) Remarks::Warn(session, key, ": more than %d bits, and sent as it is", bits);
    } else if (row->form == Form::kNumber && row->width != 0) {
        uint32_t number = 0;
        std::memcpy(&number, member, sizeof(number));
        if (number > row->width) {
            Remarks::Warn(session, key, ": %u is outside 0 to %d, and is sent as it is", number,
                          static_cast<int>(row->width));
        }
    }
}

void zwmgmt::AddX4Keys(CommandKeys* keys) {
    for (const X4Key& row : kX4Keys) {
        keys->push_back({KeyWord(kFilter, row.key), row.key, OsSet::Any(), TakenBy(row)});
    }
}

uint8_t ZwMgmt_interface::CLFilterCheckProp(const char* name, const char* text, uint32_t* value) {
    uint32_t number = 0;
    if (text == nullptr || !ParseNumber(text, &number)) {
        PrintOutput("parameter \"%s\" has bad \"value\" %s\n", name, text != nullptr ? text : "");
        return 1;
    }
    *value = number;
    return 0;
}

uint8_t ZwMgmt_interface::CLFilterCheckPropMask(const char* name, const char* text, uint32_t* value,
                                                uint32_t* mask, int bits) {
    const std::string_view whole = text != nullptr ? text : "";
    const size_t colon = whole.find(':');
    uint32_t number = 0;
    uint32_t number_mask = UINT32_MAX;
    if (!ParseNumber(whole.substr(0, colon), &number) ||
        (colon != whole.npos && !ParseNumber(whole.substr(colon + 1), &number_mask))) {
        PrintOutput("parameter \"%s\" has bad \"value[:mask]\" %s\n", name, whole.data());
        return 1;
    }
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
        if (!ParseUnsigned(length, 10, &prefix)) {
            PrintOutput("%s is not a valid address prefix\n", length.data());
            return 1;
        }
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
    for (const X4Key& row : kX4Keys) {
        if (row.key != key) continue;
        if (value == nullptr || !RuleSetter(*this, rule).Set(row, value)) return 1;
        rule->present |= row.bit;
        return 0;
    }
    return 1;
}
