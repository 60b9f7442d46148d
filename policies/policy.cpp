/// Policies as texts and files: taken apart into rules, compiled rule by rule into records.
#include "zwmgmt/policy.h"

#include <cstring>
#include <new>

#include "policies/policy_text.h"
#include "policies/rules.h"
#include "zwmgmt/fixed_text.h"

using namespace zwmgmt;
using policy::Layout;

void ParsePolicy::Print(const std::string& error) const {
    if (!prints || error.empty()) return;
    std::fprintf(stream != nullptr ? stream : stdout, "%s\n", error.c_str());
}

bool ParsePolicy::NameFits(const char* interface_name, std::string* error) {
    if (std::strlen(interface_name) < sizeof(_OfldPolicy::interface_name)) return true;
    *error = "the interface name is longer than 63 characters";
    Print(*error);
    return false;
}

bool ParsePolicy::Append(std::string_view rule, size_t number, const char* interface_name,
                         std::vector<_OfldPolicy>* policies, std::string* error) {
    _OfldPolicy policy = {};
    if (!classifier.Compile(rule, number, &program, &policy.settings)) {
        *error = classifier.Error();
        Print(*error);
        return false;
    }
    SetFixedText(policy.interface_name, interface_name);
    std::memcpy(policy.program, program.data(), program.size() * sizeof(program[0]));
    policies->push_back(policy);
    return true;
}

int ParsePolicy::build_policy_vector(const std::vector<std::string>& rules,
                                     const char* interface_name, std::vector<_OfldPolicy>* policies,
                                     std::string* error) noexcept {
    try {
        error->clear();
        if (!NameFits(interface_name, error)) return 1;
        for (size_t i = 0; i < rules.size(); ++i) {
            if (!Append(rules[i], i + 1, interface_name, policies, error)) return 1;
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}

int ParsePolicy::ParsePolicyString(const char* text, const char* interface_name,
                                   std::vector<_OfldPolicy>* policies,
                                   std::string* error) noexcept {
    return AppendAll(text, false, interface_name, policies, error);
}

int ParsePolicy::AppendAll(std::string_view text, bool continued, const char* interface_name,
                           std::vector<_OfldPolicy>* policies, std::string* error) noexcept {
    try {
        error->clear();
        if (!NameFits(interface_name, error)) return 1;
        policy::RuleReader rules(text, continued ? Layout::kContinued : Layout::kPlain);
        while (rules.Next()) {
            if (!Append(rules.Rule(), rules.Number(), interface_name, policies, error)) return 1;
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}

int ParsePolicy::ParsePolicyFile(const char* file_name, const char* interface_name,
                                 std::vector<_OfldPolicy>* policies, std::string* error) noexcept {
    try {
        error->clear();
        std::string text;
        std::string reason;
        return policy::ReadText(file_name, policy::Source::kFile, &text, &reason)
                   ? AppendAll(text, true, interface_name, policies, error)
                   : 1;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}
