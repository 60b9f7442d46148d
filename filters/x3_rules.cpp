/// The keys of an X3 filter rule: one row a key.
#include "filters/x3_rules.h"

#include <algorithm>
#include <limits>
#include <string>

#include "cli/command_keys.h"
#include "cli/handler.h"
#include "cli/keys.h"
#include "cli/vocabulary.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

enum class Form {
    kText,
    kNumber,
    kNotZero,
    kNotNegative,
    kVlan,  // in its range
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
    int64_t least = 0;  // of a number: what agents take
    int64_t most = 0;
};

constexpr uint32_t kPrefixBit = 0x2;
constexpr int64_t kLongestPrefix = 32;
constexpr int64_t kHighest = std::numeric_limits<int32_t>::max();
constexpr std::string_view kProtocols[] = {"tcp", "udp", "frag", "any"};
constexpr std::string_view kActions[] = {"pass", "drop"};

// clang-format off
constexpr X3Key kX3Keys[] = {
    {FilterKey("ifname"), 0,     offsetof(_Filter, interface_name),      Form::kText},
    {FilterKey("max"),    0,     offsetof(_Filter, max),                 Form::kNumber, {}, 1, kHighest},
    {FilterKey("id"),     0,     offsetof(_Filter, id),                  Form::kNotZero, {}, 1, kHighest},
    {FilterKey("sip"),    0x1,   offsetof(_Filter, source_address),      Form::kAddressAndPrefix},
    {FilterKey("sport"),  0x4,   offsetof(_Filter, source_port),         Form::kNotNegative, {}, 0, 65535},
    {FilterKey("dip"),    0x8,   offsetof(_Filter, destination_address), Form::kAddress},
    {FilterKey("dport"),  0x10,  offsetof(_Filter, destination_port),    Form::kNotNegative, {}, 0, 65535},
    {FilterKey("vlanid"), 0x20,  offsetof(_Filter, vlan_id),             Form::kVlan, {}, 1, 4094},
    {FilterKey("prio"),   0x40,  offsetof(_Filter, vlan_priority),       Form::kNumber, {}, 0, 7},
    {FilterKey("mac"),    0x80,  offsetof(_Filter, mac_index),           Form::kNumber, {}, 0, 15},
    {FilterKey("proto"),  0x100, offsetof(_Filter, protocol),            Form::kWord, kProtocols},
    {FilterKey("queue"),  0x200, offsetof(_Filter, queue),               Form::kNumber, {}, 0, 7},
    {FilterKey("action"), 0x400, offsetof(_Filter, action),              Form::kWord, kActions},
};
// clang-format on

bool Accepts(const X3Key& row, int32_t number) {
    switch (row.form) {
        case Form::kNotZero: return number != 0;
        case Form::kNotNegative: return number >= 0;
        case Form::kVlan: return row.least <= number && number <= row.most;
        default: return true;
    }
}

bool SetNumber(const X3Key& row, std::string_view text, char* field) {
    int32_t number = 0;
    if (!ParseDecimal(text, &number) || !Accepts(row, number)) return false;
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

std::string QuadText(const uint8_t (&octets)[4]) {
    std::string text;
    for (const uint8_t octet : octets) {
        text += (text.empty() ? "" : ".") + std::to_string(octet);
    }
    return text;
}

std::string TakenBy(const X3Key& row) {
    switch (row.form) {
        case Form::kText:
            return "a name of at most " + std::to_string(sizeof(_Filter::interface_name)) +
                   " characters";
        case Form::kAddress: return "an IPv4 address";
        case Form::kAddressAndPrefix: return "an IPv4 address, or address/length: 0 to 32";
        case Form::kWord: return WordList(row.words);
        default: return row.most == kHighest ? "a number from 1" : RangeText(row.least, row.most);
    }
}

void NoteRange(ZwMgmt_interface& session, const Client_Request_Argument& key, const char* what,
               int64_t number, int64_t least, int64_t most) {
    if ((least <= number && number <= most) || Remarks::Of(session) == nullptr) return;
    Remarks::Warn(session, key, "%s%lld is outside %s, and is sent as it is", what,
                  static_cast<long long>(number), RangeText(least, most).c_str());
}

void NoteAddress(ZwMgmt_interface& session, const Client_Request_Argument& key,
                 const uint8_t (&octets)[4]) {
    if (Remarks::Of(session) == nullptr) return;
    const std::string_view value = ValueOf(key);
    const std::string sent = QuadText(octets);
    if (value.substr(0, value.find('/')) != sent) {
        Remarks::Warn(session, key, " is sent as %s", sent.c_str());
    }
}

}  // namespace

void zwmgmt::AddX3Keys(CommandKeys* keys) {
    for (const X3Key& row : kX3Keys) {
        if (row.key == FilterKey("max")) continue;  // of the table, not of a rule
        keys->push_back({KeyWord(kFilter, row.key), row.key, OsSet::Any(), TakenBy(row)});
    }
}

void zwmgmt::NoteX3Value(ZwMgmt_interface& session, const Client_Request_Argument& key,
                         const _Filter& rule) {
    const auto* row = std::ranges::find(kX3Keys, int{key.key}, &X3Key::key);
    if (row == std::end(kX3Keys) || Remarks::Of(session) == nullptr) return;
    if (row->form == Form::kAddressAndPrefix) {
        NoteAddress(session, key, rule.source_address);
        NoteRange(session, key, ": the length ", rule.source_prefix, 0, kLongestPrefix);
    } else if (row->form == Form::kAddress) {
        NoteAddress(session, key, rule.destination_address);
    } else if (row->most != 0) {
        int32_t number = 0;
        std::memcpy(&number, reinterpret_cast<const char*>(&rule) + row->offset, sizeof(number));
        NoteRange(session, key, ": ", number, row->least, row->most);
    }
}

uint8_t ZwMgmt_interface::CLSetFilterArg(int key, const char* value, _Filter* rule) {
    for (const X3Key& row : kX3Keys) {
        if (row.key != key) continue;
        if (value == nullptr || !SetValue(row, value, rule)) return 1;
        rule->present |= row.bit;
        return 0;
    }
    return 1;
}
