#include "policies/connection.h"

#include <algorithm>

#include "policies/parser.h"
#include "policies/simplify.h"

namespace zwmgmt::policy {
namespace {

constexpr std::string_view kBlanks = " \t\v\f";

/// A key of a connection, and the field that it is of.
struct KeyRow {
    std::string_view key;
    FieldId field;
    Operand form;  // kHost: an address; kNothing: a word
};

constexpr KeyRow kKeys[] = {
    {"src", FieldId::kSourceAddress, Operand::kHost},
    {"dst", FieldId::kDestinationAddress, Operand::kHost},
    {"sport", FieldId::kSourcePort, Operand::kNumber},
    {"dport", FieldId::kDestinationPort, Operand::kNumber},
    {"vlan", FieldId::kVlan, Operand::kNumber},
    {"tos", FieldId::kTos, Operand::kNumber},
    {"vers", FieldId::kVersion, Operand::kNumber},
    {"mark", FieldId::kMark, Operand::kNumber},
    {"open", FieldId::kOpen, Operand::kNothing},
};

constexpr uint32_t kIpv4 = 4;

constexpr uint32_t BitOf(FieldId field) { return 1u << static_cast<int>(field); }

bool HasAddress(uint32_t keys) {
    return (keys & (BitOf(FieldId::kSourceAddress) | BitOf(FieldId::kDestinationAddress))) != 0;
}

/// Sets a field that is still 0.
void SetField(FieldId field, uint32_t value, PolicyFields* fields) {
    const Cube cube = FieldCube(field, value, Ones(BitsOf(field)));
    Cube all;
    std::memcpy(all.value, fields, sizeof(*fields));
    for (int i = 0; i < 3; ++i) all.value[i] |= cube.value[i];
    std::memcpy(fields, all.value, sizeof(*fields));
}

bool ReadValue(const KeyRow& row, std::string_view text, uint32_t* value) {
    Words words(text);
    const Word first = words.Current();
    words.Advance();
    if (!words.Is(Mark::kEnd)) return false;
    *value = first.number;
    if (row.form == Operand::kHost) return first.mark == Mark::kAddress;
    if (row.form == Operand::kNumber) {
        return first.mark == Mark::kNumber && first.number <= Ones(BitsOf(row.field));
    }
    const auto* word = std::ranges::find(kDirectives, first.text, &Directive::word);
    if (word == std::end(kDirectives) || word->operand != Operand::kNothing) return false;
    *value = word->value;
    return true;
}

std::string WhatIsExpected(const KeyRow& row) {
    if (row.form == Operand::kHost) return "an IPv4 address";
    if (row.form == Operand::kNothing) return "listen, aopen or popen";
    return "a number between 0 and " + std::to_string(Ones(BitsOf(row.field)));
}

/// A value with these bits. "" where no word has them: then it is none of them, as it is when
/// nothing is said.
std::string ValueText(const KeyRow& row, uint32_t value, uint32_t mask) {
    if (row.form == Operand::kNumber) return std::to_string(value);
    if (row.form == Operand::kHost) {
        std::string quad;
        for (int shift = 24; shift >= 0; shift -= 8) {
            quad += (quad.empty() ? "" : ".") + std::to_string(value >> shift & 0xFF);
        }
        return quad;
    }
    const auto* word = std::ranges::find_if(kDirectives, [&](const Directive& each) {
        return each.operand == Operand::kNothing && (each.value & mask) == value;
    });
    return word != std::end(kDirectives) ? std::string(word->word) : "";
}

}  // namespace

std::string TakeWord(std::string_view word, Connection* connection) {
    constexpr size_t kMostShown = 60;
    const size_t equals = std::min(word.find('='), word.size());
    const auto* row = std::ranges::find(kKeys, word.substr(0, equals), &KeyRow::key);
    if (equals == word.size() || row == std::end(kKeys)) {
        std::string keys;
        for (const KeyRow& known : kKeys) keys.append(" ").append(known.key).append("=");
        return "\"" + Shown(word, kMostShown) + "\" is none of" + keys;
    }
    uint32_t value = 0;
    if (!ReadValue(*row, word.substr(equals + 1), &value)) {
        return Shown(word, kMostShown) + ": expected " + WhatIsExpected(*row);
    }
    const uint32_t bit = BitOf(row->field);
    if ((connection->given & bit) != 0) return std::string(row->key) + "= is given twice";
    connection->given |= bit;
    SetField(row->field, value, &connection->fields);
    return "";
}

std::string Assume(Connection* connection) {
    const uint32_t version = BitOf(FieldId::kVersion);
    std::string assumed;
    std::string zeros;
    if (HasAddress(connection->given) && (connection->given & version) == 0) {
        connection->given |= version;
        SetField(FieldId::kVersion, kIpv4, &connection->fields);
        assumed = "vers=4";
    }
    for (const KeyRow& row : kKeys) {
        if ((connection->given & BitOf(row.field)) != 0) continue;
        zeros.append(zeros.empty() ? "0 for " : ", ").append(row.key);
    }
    return assumed + (assumed.empty() || zeros.empty() ? "" : "; ") + zeros;
}

std::string ConnectionText(const Cube& bits) {
    std::string text;
    for (const KeyRow& row : kKeys) {
        uint32_t value = 0;
        uint32_t mask = 0;
        for (int i = 0; i < BitsOf(row.field); ++i) {
            const uint32_t bit = 1u << i;
            if (bits.Conflicts(FieldCube(row.field, 0, bit))) value |= bit;
            if (bits.Conflicts(FieldCube(row.field, bit, bit))) mask |= bit;
        }
        mask |= value;
        const std::string written = mask != 0 ? ValueText(row, value, mask) : "";
        if (written.empty()) continue;
        text.append(text.empty() ? "" : " ").append(row.key).append("=").append(written);
    }
    return text.empty() ? "vers=4" : text;
}

bool ConnectionLines::Next() {
    while (next < text.size()) {
        ++line;
        line_begin = next;
        const size_t end = std::min(text.find_first_of("\n\r", next), text.size());
        next = end + (text.substr(end, 2) == "\r\n" ? 2 : 1);
        std::string_view content = text.substr(line_begin, end - line_begin);
        content = content.substr(0, content.find('#'));
        if (content.find_first_not_of(kBlanks) == content.npos) continue;
        ReadLine(content);
        return true;
    }
    return false;
}

void ConnectionLines::ReadLine(std::string_view content) {
    connection = {};
    expectation = {};
    expected_text = {};
    wrong.clear();
    const size_t arrow = content.find("=>");
    std::string_view words = content.substr(0, arrow);
    while (wrong.empty()) {
        words.remove_prefix(std::min(words.find_first_not_of(kBlanks), words.size()));
        if (words.empty()) break;
        const std::string_view word = words.substr(0, words.find_first_of(kBlanks));
        Blame(TakeWord(word, &connection), word);
        words.remove_prefix(word.size());
    }
    if (arrow != content.npos && wrong.empty()) ReadExpectation(content.substr(arrow + 2));
}

void ConnectionLines::ReadExpectation(std::string_view content) {
    const size_t begin = std::min(content.find_first_not_of(kBlanks), content.size());
    expected_text = content.substr(begin, content.find_last_not_of(kBlanks) + 1 - begin);
    Words words(expected_text);
    if (words.Is(Mark::kEnd)) {
        return Blame("nothing is expected: none, rule N or settings stand behind '=>'",
                     expected_text);
    }
    if (words.IsName("none")) {
        expectation.kind = Expectation::kNone;
        words.Advance();
    } else if (words.IsName("rule")) {
        expectation.kind = Expectation::kRule;
        words.Advance();
        expectation.rule = words.Current().number;
        if (!words.Is(Mark::kNumber) || expectation.rule == 0) {
            return Blame("'rule' needs a number from 1", words.Current().text);
        }
        words.Advance();
    } else {
        expectation.kind = Expectation::kSettings;
        Complaint complaint;
        if (!ParseSettings(&words, &expectation.settings, &complaint)) {
            Blame(complaint.text, complaint.word.text);
        }
        return;
    }
    if (!words.Is(Mark::kEnd)) Blame("more than one thing is expected", words.Current().text);
}

void ConnectionLines::Blame(std::string reason, std::string_view part) {
    wrong = std::move(reason);
    wrong_begin = static_cast<size_t>(part.data() - text.data());
    wrong_length = part.size();
}

}  // namespace zwmgmt::policy
