/// The keys of an X3 filter rule: one row a key.
#include "cli/handler.h"
#include "cli/keys.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

enum class Form {
    kText,
    kNumber,
    kNotZero,
    kNotNegative,
    kVlan,  // 1 to 4094
    kAddress,
    kAddressAndPrefix,  // the prefix length after a slash, or neither
    kWord,              // of a list, from 1
};

struct X3Key {
    int key;
    uint32_t bit;
    size_t offset;  // in _Filter
    Form form;
    std::span<const std::string_view> words = {};
};

constexpr uint32_t kPrefixBit = 0x2;
constexpr std::string_view kProtocols[] = {"tcp", "udp", "frag", "any"};
constexpr std::string_view kActions[] = {"pass", "drop"};

// clang-format off
constexpr X3Key kX3Keys[] = {
    {FilterKey("ifname"), 0,     offsetof(_Filter, interface_name),      Form::kText},
    {FilterKey("max"),    0,     offsetof(_Filter, max),                 Form::kNumber},
    {FilterKey("id"),     0,     offsetof(_Filter, id),                  Form::kNotZero},
    {FilterKey("sip"),    0x1,   offsetof(_Filter, source_address),      Form::kAddressAndPrefix},
    {FilterKey("sport"),  0x4,   offsetof(_Filter, source_port),         Form::kNotNegative},
    {FilterKey("dip"),    0x8,   offsetof(_Filter, destination_address), Form::kAddress},
    {FilterKey("dport"),  0x10,  offsetof(_Filter, destination_port),    Form::kNotNegative},
    {FilterKey("vlanid"), 0x20,  offsetof(_Filter, vlan_id),             Form::kVlan},
    {FilterKey("prio"),   0x40,  offsetof(_Filter, vlan_priority),       Form::kNumber},
    {FilterKey("mac"),    0x80,  offsetof(_Filter, mac_index),           Form::kNumber},
    {FilterKey("proto"),  0x100, offsetof(_Filter, protocol),            Form::kWord, kProtocols},
    {FilterKey("queue"),  0x200, offsetof(_Filter, queue),               Form::kNumber},
    {FilterKey("action"), 0x400, offsetof(_Filter, action),              Form::kWord, kActions},
};
// clang-format on

bool Accepts(Form form, int32_t number) {
    switch (form) {
        case Form::kNotZero: return number != 0;
        case Form::kNotNegative: return number >= 0;
        case Form::kVlan: return 1 <= number && number <= 4094;
        default: return true;
    }
}

bool SetNumber(const X3Key& row, std::string_view text, char* field) {
    int32_t number = 0;
    if (!ParseDecimal(text, &number) || !Accepts(row.form, number)) return false;
    std::memcpy(field, &number, sizeof(number));
    return true;
}

bool SetWord(const X3Key& row, std::string_view text, char* field) {
    const auto word = std::ranges::find(row.words, text);
    const auto number = static_cast<int32_t>(word - row.words.begin() + 1);
    if (word == row.words.end()) return false;
    std::memcpy(field, &number, sizeof(number));
    return true;
}

bool SetAddress(std::string_view text, char* field) {
    constexpr size_t kLongestQuad = 15;
    constexpr uint8_t kAddressMode = 1;
    char quad[kLongestQuad + 1];
    if (text.size() > kLongestQuad) return false;
    SetFixedText(quad, text);
    return ZwMgmt_interface::CLstr2ipoctets(quad, nullptr, reinterpret_cast<uint8_t*>(field),
                                            kAddressMode, nullptr, nullptr) == 0;
}

/// Any length is taken: the agent judges it.
bool SetAddressAndPrefix(std::string_view text, char* field, _Filter* rule) {
    const size_t slash = text.find('/');
    if (!SetAddress(text.substr(0, slash), field)) return false;
    if (slash == text.npos) return true;
    int32_t length = 0;
    if (!ParseDecimal(text.substr(slash + 1), &length)) return false;
    rule->source_prefix = length;
    rule->present |= kPrefixBit;
    return true;
}

bool SetValue(const X3Key& row, std::string_view text, _Filter* rule) {
    char* field = reinterpret_cast<char*>(rule) + row.offset;
    switch (row.form) {
        case Form::kText:
            if (text.empty() || text.size() > sizeof(rule->interface_name)) return false;
            SetFixedText(rule->interface_name, text);
            return true;
        case Form::kWord: return SetWord(row, text, field);
        case Form::kAddress: return SetAddress(text, field);
        case Form::kAddressAndPrefix: return SetAddressAndPrefix(text, field, rule);
        default: return SetNumber(row, text, field);
    }
}

}  // namespace

uint8_t ZwMgmt_interface::CLSetFilterArg(int key, const char* value, _Filter* rule) {
    for (const X3Key& row : kX3Keys) {
        if (row.key != key) continue;
        if (value == nullptr || !SetValue(row, value, rule)) return 1;
        rule->present |= row.bit;
        return 0;
    }
    return 1;
}
