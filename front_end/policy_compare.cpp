/// "policy explain FILE" and "policy diff FILE OTHER".
#include <cstdio>
#include <new>

#include "front_end/policy.h"
#include "policies/compare.h"
#include "policies/compiled_rules.h"
#include "policies/connection.h"

namespace zwcli {
namespace {

using namespace zwmgmt::policy;

bool LoadPolicy(PolicyOutput& output, const char* file, PolicyOutput::NoRules no_rules,
                NamedText* read, LoadedPolicy* policy) {
    if (!output.ReadPolicy(file, no_rules, read)) return false;
    if (Load(read->text, policy)) return true;
    output.Complain(read->name + ": more rules than " + std::to_string(kMostLoaded));
    return false;
}

/// "1, 3 to 7, 9": positions as numbers from 1.
std::string RuleNumbers(const std::vector<size_t>& rules) {
    std::string text;
    for (size_t i = 0; i < rules.size(); ++i) {
        const size_t begin = i;
        while (i + 1 < rules.size() && rules[i + 1] == rules[i] + 1) ++i;
        text += (text.empty() ? "" : ", ") + std::to_string(rules[begin] + 1);
        if (i > begin) text += (i == begin + 1 ? ", " : " to ") + std::to_string(rules[i] + 1);
    }
    return text;
}

/// What the rules before it leave to a rule.
std::string FateText(const RuleFate& fate) {
    const std::string others = RuleNumbers(fate.overlapped);
    std::string text;
    switch (fate.decides) {
        case Answer::kNo:
            if (fate.covered_by != kNoRule) {
                return "never decides: rule " + std::to_string(fate.covered_by + 1) +
                       " takes all that it matches";
            }
            return "never decides: rules " + others + " together take all that it matches";
        case Answer::kUnknown: text = "not known whether it ever decides"; break;
        case Answer::kYes: text = "decides for example " + ConnectionText(fate.connection); break;
    }
    if (!others.empty()) {
        text += "\n    overlaps rule" + std::string(fate.overlapped.size() == 1 ? " " : "s ") +
                others + (fate.overlapped.size() == 1 ? ", which comes" : ", which come") +
                " first";
    }
    if (!fate.all_overlaps_known) text += "\n    not all overlaps are known";
    return text;
}

/// Null where it is not known.
void AddKnown(PolicyOutput& output, const char* key, Answer answer) {
    output.Json().Key(key);
    if (answer == Answer::kUnknown) {
        output.Json().Null();
    } else {
        output.Json().Flag(answer == Answer::kYes);
    }
}

void AddFate(PolicyOutput& output, const RuleFate& fate) {
    AddKnown(output, "decides", fate.decides);
    if (fate.decides == Answer::kYes) output.AddText("example", ConnectionText(fate.connection));
    if (fate.covered_by != kNoRule) output.AddNumber("covered_by", fate.covered_by + 1);
    output.Json().Key("overlaps");
    output.Json().BeginArray();
    for (const size_t rule : fate.overlapped) output.Json().Unsigned(rule + 1);
    output.Json().EndArray();
    output.AddFlag("all_overlaps_known", fate.all_overlaps_known);
}

std::string DecisionText(const LoadedPolicy& policy, size_t rule) {
    if (rule == kNoRule) return "no rule matches";
    return "rule " + std::to_string(rule + 1) +
           " decides: " + ParsePolicy::SettingsText(policy[rule].settings);
}

void AddSide(PolicyOutput& output, const char* key, const NamedText& file,
             const LoadedPolicy& policy, size_t rule) {
    output.Json().Key(key);
    output.Json().BeginObject();
    output.AddText("file", file.name);
    output.Json().Key("rule");
    if (rule == kNoRule) {
        output.Json().Null();
    } else {
        output.Json().Unsigned(rule + 1);
        output.AddText("settings", ParsePolicy::SettingsText(policy[rule].settings));
    }
    output.Json().EndObject();
}

}  // namespace

ExitStatus ExplainPolicy(PolicyOutput& output, const Options& /*options*/,
                         const std::vector<const char*>& words) {
    NamedText file;
    LoadedPolicy policy;
    if (!LoadPolicy(output, words[0], PolicyOutput::NoRules::kRefused, &file, &policy)) {
        return kUsage;
    }
    if (output.IsJson()) {
        output.Json().Key("rules");
        output.Json().BeginArray();
    }
    int64_t budget = kComparisonBudget;
    bool known = true;
    size_t idle = 0;
    CompiledRules rules(file.text, Layout::kContinued);
    for (size_t i = 0; rules.Next(); ++i) {
        const RuleFate fate = FateOf(policy, i, &budget);
        known &= fate.decides != Answer::kUnknown && fate.all_overlaps_known;
        idle += fate.decides == Answer::kNo;
        std::string text;
        if (ParsePolicy::ParsePolicyStructure(rules.Record(), &text) != 0) throw std::bad_alloc();
        const size_t length = policy[i].program.size();
        if (output.IsJson()) {
            output.Json().BeginObject();
            output.AddNumber("rule", i + 1);
            output.AddNumber("line", policy[i].line);
            output.AddText("text", text);
            output.AddNumber("instructions", length);
            AddFate(output, fate);
            output.Json().EndObject();
        } else {
            const std::string lines = "rule " + std::to_string(i + 1) + " (line " +
                                      std::to_string(policy[i].line) + "): " + text + "\n    " +
                                      Counted(length, "instruction") + "; " + FateText(fate);
            std::printf("%s\n", lines.c_str());
        }
    }
    if (output.IsJson()) output.Json().EndArray();
    if (!known) output.Complain("the search was given up: not all is known");
    return idle > 0 ? kFailed : known ? kOk : kNotFinished;
}

ExitStatus DiffPolicies(PolicyOutput& output, const Options& /*options*/,
                        const std::vector<const char*>& words) {
    NamedText files[2];
    LoadedPolicy policies[2];
    for (int i = 0; i < 2; ++i) {
        if (!LoadPolicy(output, words[static_cast<size_t>(i)], PolicyOutput::NoRules::kAllowed,
                        &files[i], &policies[i])) {
            return kUsage;
        }
    }
    int64_t budget = kComparisonBudget;
    const Difference difference = Compare(policies[0], policies[1], &budget);
    const size_t rules[] = {difference.first, difference.second};
    if (difference.alike == Answer::kUnknown) {
        output.Complain("the search was given up: it is not known whether they decide alike");
    }
    const bool differ = difference.alike == Answer::kNo;
    const std::string connection = differ ? ConnectionText(difference.connection) : "";
    if (output.IsJson()) {
        AddKnown(output, "alike", difference.alike);
        if (differ) {
            output.AddText("connection", connection);
            AddSide(output, "first", files[0], policies[0], rules[0]);
            AddSide(output, "second", files[1], policies[1], rules[1]);
        }
    } else if (differ) {
        std::printf("they decide differently, for example %s\n", connection.c_str());
        for (int i = 0; i < 2; ++i) {
            std::printf("    %s: %s\n", files[i].name.c_str(),
                        DecisionText(policies[i], rules[i]).c_str());
        }
    } else if (difference.alike == Answer::kYes) {
        std::printf("they decide alike\n");
    }
    return differ ? kFailed : difference.alike == Answer::kYes ? kOk : kNotFinished;
}

}  // namespace zwcli
