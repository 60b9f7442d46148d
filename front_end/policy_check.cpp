#include "front_end/policy_check.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "front_end/say.h"
#include "zwmgmt/policy.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

/// A key of a connection, and the member that it sets.
struct ConnectionKey {
    std::string_view key;
    enum { kAddress, kNumber, kOpen } form;
    size_t offset;
    size_t width;
    uint32_t highest;
};

#define MEMBER(member) offsetof(PolicyFields, member), sizeof(PolicyFields::member)

constexpr ConnectionKey kKeys[] = {
    {"src", ConnectionKey::kAddress, MEMBER(source_address), 0},
    {"dst", ConnectionKey::kAddress, MEMBER(destination_address), 0},
    {"sport", ConnectionKey::kNumber, MEMBER(source_port), 0xFFFF},
    {"dport", ConnectionKey::kNumber, MEMBER(destination_port), 0xFFFF},
    {"vlan", ConnectionKey::kNumber, MEMBER(vlan), 0xFFF},
    {"tos", ConnectionKey::kNumber, MEMBER(tos), 0xFF},
    {"vers", ConnectionKey::kNumber, MEMBER(version), 0xF},
    {"mark", ConnectionKey::kNumber, MEMBER(mark), 0xFFFFFFFF},
    {"open", ConnectionKey::kOpen, MEMBER(open), 0},
};

#undef MEMBER

constexpr std::string_view kOpenWords[] = {"listen", "aopen", "popen"};

bool ParseNumber(std::string_view text, uint32_t highest, uint32_t* number) {
    const bool hexadecimal = text.starts_with("0x");
    if (hexadecimal) text.remove_prefix(2);
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, *number, hexadecimal ? 16 : 10);
    return parsed.ec == std::errc() && parsed.ptr == end && *number <= highest;
}

bool SetMember(const ConnectionKey& row, const std::string& value, PolicyFields* connection) {
    uint32_t number = 0;
    switch (row.form) {
        case ConnectionKey::kAddress: {
            constexpr uint8_t kIpv4 = 2;
            uint8_t octets[4];
            if (!ZwMgmt_interface::CLInet_Pton(kIpv4, value.c_str(), octets, sizeof(octets))) {
                return false;
            }
            std::memcpy(&number, octets, sizeof(octets));
            break;
        }
        case ConnectionKey::kNumber:
            if (!ParseNumber(value, row.highest, &number)) return false;
            break;
        case ConnectionKey::kOpen:
            for (const std::string_view word : kOpenWords) {
                ++number;
                if (word == value) break;
            }
            if (kOpenWords[number - 1] != value) return false;
            break;
    }
    std::memcpy(reinterpret_cast<char*>(connection) + row.offset, &number, row.width);
    return true;
}

/// "" or what is wrong with the word.
std::string TakeWord(const std::string& word, PolicyFields* connection) {
    const size_t equals = word.find('=');
    for (const ConnectionKey& row : kKeys) {
        if (equals == word.npos || row.key != std::string_view(word).substr(0, equals)) continue;
        if (SetMember(row, word.substr(equals + 1), connection)) return "";
        return "\"" + word + "\" has no value that a connection can have";
    }
    return "expected src=, dst=, sport=, dport=, vlan=, tos=, vers=, mark= or open= instead of \"" +
           word + "\"";
}

std::string TargetText(uint8_t target) {
    if (target == zwmgmt::kPolicyAccept) return "accept";
    if (target == zwmgmt::kPolicyReject) return "reject";
    return "go to " + std::to_string(target);
}

size_t LengthOf(const _OfldPolicy& policy) {
    size_t count = 0;
    while (count < zwmgmt::kPolicyInstructions && policy.program[count].used != 0) ++count;
    return count;
}

void Explain(const _OfldPolicy& policy, size_t rule) {
    std::string text;
    ParsePolicy::ParsePolicyStructure(policy, &text);
    std::printf("rule %zu: %s\n", rule, text.c_str());
    for (size_t i = 0; i < LengthOf(policy); ++i) {
        const PolicyInstruction& step = policy.program[i];
        std::printf("    %zu: %s: %s, else %s\n", i, Classifier::TestText(step).c_str(),
                    TargetText(step.on_match).c_str(), TargetText(step.on_miss).c_str());
    }
}

void Decide(const std::vector<_OfldPolicy>& policies, const PolicyFields& connection) {
    for (size_t i = 0; i < policies.size(); ++i) {
        if (!Classifier::Matches(policies[i].program, LengthOf(policies[i]), connection)) continue;
        std::printf("rule %zu decides: %s\n", i + 1,
                    ParsePolicy::SettingsText(policies[i].settings).c_str());
        return;
    }
    std::printf("no rule matches\n");
}

}  // namespace

ExitStatus PolicyCommand(const std::vector<const char*>& words) {
    if (words.size() < 2 || std::string_view(words[0]) != "check") {
        return Fail(kUsage, "policy is for: policy check FILE [src=ADDRESS dport=N ...]");
    }
    PolicyFields connection = {};
    for (size_t i = 2; i < words.size(); ++i) {
        const std::string wrong = TakeWord(words[i], &connection);
        if (!wrong.empty()) return Fail(kUsage, wrong);
    }
    std::vector<_OfldPolicy> policies;
    std::string error;
    ParsePolicy parser;
    parser.PrintNothing();
    if (parser.ParsePolicyFile(words[1], "", &policies, &error) != 0) {
        return Fail(kUsage, error.empty() ? std::string("cannot read ") + words[1] : error);
    }
    for (size_t i = 0; i < policies.size(); ++i) Explain(policies[i], i + 1);
    if (words.size() > 2) Decide(policies, connection);
    return kOk;
}

}  // namespace zwcli
