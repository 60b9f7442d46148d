/// "policy check FILE": what the rules became, and which decides a connection.
#include <cstdio>
#include <iterator>
#include <new>

#include "front_end/policy.h"
#include "policies/compare.h"
#include "policies/compiled_rules.h"
#include "policies/connection.h"

namespace zwcli {
namespace {

using namespace zwmgmt::policy;

std::string TargetText(uint8_t target) {
    if (target == zwmgmt::kPolicyAccept) return "accept";
    if (target == zwmgmt::kPolicyReject) return "reject";
    return "go to " + std::to_string(target);
}

void PrintRule(size_t number, const std::string& text, const _OfldPolicy& record) {
    std::string lines = "rule " + std::to_string(number) + ": " + text + "\n";
    for (size_t i = 0; i < LengthOf(record); ++i) {
        const PolicyInstruction& step = record.program[i];
        lines += "    " + std::to_string(i) + ": " + Classifier::TestText(step) + ": " +
                 TargetText(step.on_match) + ", else " + TargetText(step.on_miss) + "\n";
    }
    std::fputs(lines.c_str(), stdout);
}

void AddTarget(PolicyOutput& output, const char* key, uint8_t target) {
    if (target < zwmgmt::kPolicyInstructions) {
        output.AddNumber(key, target);
    } else {
        output.AddText(key, TargetText(target));
    }
}

void AddRule(PolicyOutput& output, size_t number, size_t line, const std::string& text,
             const _OfldPolicy& record) {
    output.Json().BeginObject();
    output.AddNumber("rule", number);
    output.AddNumber("line", line);
    output.AddText("text", text);
    output.AddText("settings", ParsePolicy::SettingsText(record.settings));
    output.Json().Key("instructions");
    output.Json().BeginArray();
    for (size_t i = 0; i < LengthOf(record); ++i) {
        const PolicyInstruction& step = record.program[i];
        output.Json().BeginObject();
        output.AddText("test", Classifier::TestText(step));
        AddTarget(output, "on_match", step.on_match);
        AddTarget(output, "on_miss", step.on_miss);
        output.Json().EndObject();
    }
    output.Json().EndArray();
    output.Json().EndObject();
}

/// Which rule decides; 0: none.
struct Decision {
    size_t rule = 0;
    PolicySettings settings = {};
};

std::string TextOf(const Decision& decision) {
    if (decision.rule == 0) return "no rule matches";
    return "rule " + std::to_string(decision.rule) +
           " decides: " + ParsePolicy::SettingsText(decision.settings);
}

void AddDecision(PolicyOutput& output, const Decision& decision) {
    output.Json().Key("rule");
    if (decision.rule == 0) {
        output.Json().Null();
    } else {
        output.Json().Unsigned(decision.rule);
        output.AddText("settings", ParsePolicy::SettingsText(decision.settings));
    }
}

/// Every rule, and who decides the connection.
Decision ListRules(PolicyOutput& output, const std::string& text, const Connection& connection) {
    Decision decision;
    if (output.IsJson()) {
        output.Json().Key("rules");
        output.Json().BeginArray();
    }
    CompiledRules rules(text, Layout::kContinued);
    while (rules.Next()) {
        const _OfldPolicy& record = rules.Record();
        std::string rule;
        if (ParsePolicy::ParsePolicyStructure(record, &rule) != 0) throw std::bad_alloc();
        if (output.IsJson()) {
            AddRule(output, rules.Number(), rules.Begin().line, rule, record);
        } else {
            PrintRule(rules.Number(), rule, record);
        }
        if (decision.rule == 0 &&
            Classifier::Matches(record.program, LengthOf(record), connection.fields)) {
            decision = {rules.Number(), record.settings};
        }
    }
    if (output.IsJson()) output.Json().EndArray();
    return decision;
}

ExitStatus CheckOne(PolicyOutput& output, const NamedText& policy, const Connection& connection,
                    const std::string& assumed) {
    const Decision decision = ListRules(output, policy.text, connection);
    if (connection.given == 0) return kOk;
    if (output.IsJson()) {
        output.Json().Key("connection");
        output.Json().BeginObject();
        output.AddText("assumed", assumed);
        AddDecision(output, decision);
        output.Json().EndObject();
    } else {
        if (!assumed.empty()) std::printf("assumed: %s\n", assumed.c_str());
        std::printf("%s\n", TextOf(decision).c_str());
    }
    return decision.rule != 0 ? kOk : kFailed;
}

bool IsAsExpected(const Decision& decision, const Expectation& expected) {
    switch (expected.kind) {
        case Expectation::kAnything: return decision.rule != 0;
        case Expectation::kNone: return decision.rule == 0;
        case Expectation::kRule: return decision.rule == expected.rule;
        case Expectation::kSettings:
            return decision.rule != 0 && SameSettings(decision.settings, expected.settings);
    }
    return false;
}

/// False after showing each line that is wrong.
bool AreRight(PolicyOutput& output, const NamedText& connections) {
    size_t wrong = 0;
    ConnectionLines lines(connections.text);
    while (lines.Next()) {
        if (lines.Wrong().empty()) continue;
        if (output.IsJson() && wrong == 0) {
            output.Json().Key("errors");
            output.Json().BeginArray();
        }
        ++wrong;
        output.ShowFault(connections, 0, {lines.Line(), lines.Column()}, lines.Wrong(),
                         lines.Marked());
    }
    if (output.IsJson() && wrong > 0) output.Json().EndArray();
    return wrong == 0;
}

void ShowOutcome(PolicyOutput& output, const NamedText& connections, const ConnectionLines& lines,
                 const std::string& assumed, const Decision& decision, bool as_expected) {
    const Expectation& expected = lines.Expected();
    const std::string wanted(lines.ExpectedText());
    if (output.IsJson()) {
        output.Json().BeginObject();
        output.AddNumber("line", lines.Line());
        output.AddText("assumed", assumed);
        AddDecision(output, decision);
        if (expected.kind != Expectation::kAnything) output.AddText("expected", wanted);
        output.AddFlag("as_expected", as_expected);
        output.Json().EndObject();
        return;
    }
    std::string text = connections.name + ":" + std::to_string(lines.Line()) + ": " +
                       TextOf(decision) + (as_expected ? "" : "; DIFFERS");
    if (!as_expected && expected.kind != Expectation::kAnything) text += ", expected: " + wanted;
    if (assumed.starts_with("vers")) text += " (assumed: " + assumed.substr(0, 6) + ")";
    std::printf("%s\n", text.c_str());
}

ExitStatus CheckMany(PolicyOutput& output, const NamedText& policy, const NamedText& connections) {
    LoadedPolicy rules;
    if (!Load(policy.text, &rules)) {
        output.Complain(policy.name + ": more rules than " + std::to_string(kMostLoaded));
        return kUsage;
    }
    if (!AreRight(output, connections)) return kUsage;
    if (output.IsJson()) {
        output.Json().Key("connections");
        output.Json().BeginArray();
    }
    size_t count = 0;
    size_t differing = 0;
    ConnectionLines lines(connections.text);
    for (; lines.Next(); ++count) {
        Connection connection = lines.Read();
        const std::string assumed = Assume(&connection);
        const size_t rule = DecidingRule(rules, connection.fields);
        const Decision decision =
            rule == kNoRule ? Decision{} : Decision{rule + 1, rules[rule].settings};
        const bool as_expected = IsAsExpected(decision, lines.Expected());
        differing += !as_expected;
        ShowOutcome(output, connections, lines, assumed, decision, as_expected);
    }
    if (output.IsJson()) output.Json().EndArray();
    if (count == 0) {
        output.Complain(connections.name + ": there is no connection in it");
        return kUsage;
    }
    if (!output.IsJson()) {
        std::printf("%s, %s as expected\n", Counted(count, "connection").c_str(),
                    std::to_string(count - differing).c_str());
    }
    return differing == 0 ? kOk : kFailed;
}

}  // namespace

ExitStatus CheckPolicy(PolicyOutput& output, const Options& options,
                       const std::vector<const char*>& words) {
    Connection connection;
    bool sound = true;
    for (auto word = std::next(words.begin()); word != words.end(); ++word) {
        const std::string wrong = TakeWord(*word, &connection);
        if (wrong.empty()) continue;
        output.Complain(wrong);
        sound = false;
    }
    NamedText policy;
    if (!sound || !output.ReadPolicy(words[0], PolicyOutput::NoRules::kRefused, &policy)) {
        return kUsage;
    }
    if (!options.connections) {
        const std::string assumed = Assume(&connection);
        return CheckOne(output, policy, connection, assumed);
    }
    NamedText connections;
    if (!output.Read(options.connections->c_str(), &connections)) return kUsage;
    return CheckMany(output, policy, connections);
}

}  // namespace zwcli
