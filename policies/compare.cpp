#include "policies/compare.h"

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "policies/compiled_rules.h"

namespace zwmgmt::policy {
namespace {

/// One question may not spend what all the others need.
constexpr int64_t kQuestionBudget = 2'000'000;

Answer Ask(std::span<const Demand> demands, int64_t* budget, Cube* connection = nullptr) {
    const int64_t granted = std::min(*budget, kQuestionBudget);
    int64_t left = granted;
    const Answer answer = FindConnection(demands, &left, connection);
    *budget -= granted - std::max<int64_t>(left, 0);
    return answer;
}

Answer AskBoth(const Demand& one, const Demand& other, int64_t* budget) {
    const Demand both[] = {one, other};
    return Ask(both, budget);
}

/// Whether some connection is accepted by both.
Answer AskOverlap(const LoadedRule& one, const LoadedRule& other, int64_t* budget) {
    --*budget;
    if (one.hull.Conflicts(other.hull)) return Answer::kNo;
    return AskBoth({one.program, kAccept}, {other.program, kAccept}, budget);
}

/// Narrows or begins the hull: what every way from the position to acceptance has passed.
void AddToHull(std::span<const Step> program, int position, const Cube& passed,
               std::optional<Cube>* hull) {
    if (position == kReject) return;
    if (position == kAccept) {
        *hull = hull->has_value() ? (*hull)->Common(passed) : passed;
        return;
    }
    const Step& step = program[static_cast<size_t>(position)];
    if (!passed.Conflicts(step.cube)) {
        AddToHull(program, step.on_match, passed.And(step.cube), hull);
    }
    AddToHull(program, step.on_miss, passed, hull);
}

/// Appends that the rule at the position is the first to accept; behind the last: that none does.
void AddRejected(const LoadedPolicy& policy, size_t position, std::vector<Demand>* demands) {
    for (size_t i = 0; i < position; ++i) demands->push_back({policy[i].program, kReject});
}

/// For each rule of the one policy the first of the other with the same program, or kNoRule.
std::vector<size_t> SamePrograms(const LoadedPolicy& of, const LoadedPolicy& in) {
    const auto bytes = [](const LoadedRule& rule) {
        return std::string_view(reinterpret_cast<const char*>(rule.program.data()),
                                rule.program.size() * sizeof(Step));
    };
    static_assert(sizeof(Step) == sizeof(Cube) + 2 * sizeof(int), "no padding");
    std::unordered_map<std::string_view, size_t> first;
    for (size_t i = 0; i < in.size(); ++i) first.try_emplace(bytes(in[i]), i);
    std::vector<size_t> same;
    for (const LoadedRule& rule : of) {
        const auto found = first.find(bytes(rule));
        same.push_back(found != first.end() ? found->second : kNoRule);
    }
    return same;
}

/// Whether a connection is decided by this rule of the first policy and that of the second; the
/// position behind the last means that none decides.
Answer AskPair(const LoadedPolicy& first, size_t i, const LoadedPolicy& second, size_t j,
               int64_t* budget, Cube* connection) {
    std::vector<Demand> demands;
    if (i < first.size()) demands.push_back({first[i].program, kAccept});
    if (j < second.size()) demands.push_back({second[j].program, kAccept});
    if (demands.size() == 2 && AskOverlap(first[i], second[j], budget) == Answer::kNo) {
        return Answer::kNo;
    }
    AddRejected(first, i, &demands);
    AddRejected(second, j, &demands);
    return Ask(demands, budget, connection);
}

}  // namespace

LoadedRule LoadRule(std::vector<Step> program, const PolicySettings& settings, size_t line) {
    std::optional<Cube> hull;
    AddToHull(program, program.empty() ? kReject : 0, {}, &hull);
    return {std::move(program), hull.value_or(Cube{}), settings, line};
}

bool Load(std::string_view text, LoadedPolicy* policy) {
    policy->clear();
    CompiledRules rules(text, Layout::kContinued);
    while (rules.Next()) {
        if (policy->size() == kMostLoaded) return false;
        const _OfldPolicy& record = rules.Record();
        policy->push_back(LoadRule(StepsOf(record.program, LengthOf(record)), record.settings,
                                   rules.Begin().line));
    }
    return true;
}

size_t DecidingRule(const LoadedPolicy& policy, const PolicyFields& connection) {
    for (size_t i = 0; i < policy.size(); ++i) {
        if (Accepts(policy[i].program, connection)) return i;
    }
    return kNoRule;
}

bool SameSettings(const PolicySettings& one, const PolicySettings& other) {
    return std::memcmp(&one, &other, sizeof(one)) == 0;
}

RuleFate FateOf(const LoadedPolicy& policy, size_t rule, int64_t* budget) {
    RuleFate fate;
    const Demand accepted = {policy[rule].program, kAccept};
    std::vector<Demand> demands = {accepted};
    for (size_t i = 0; i < rule; ++i) {
        const Answer overlap = AskOverlap(policy[i], policy[rule], budget);
        if (overlap == Answer::kNo) continue;
        fate.all_overlaps_known &= overlap == Answer::kYes;
        if (overlap == Answer::kYes) fate.overlapped.push_back(i);
        demands.push_back({policy[i].program, kReject});
    }
    fate.decides = Ask(demands, budget, &fate.connection);
    if (fate.decides != Answer::kNo) return fate;
    for (const size_t earlier : fate.overlapped) {
        const Demand rejected = {policy[earlier].program, kReject};
        if (AskBoth(accepted, rejected, budget) != Answer::kNo) continue;
        fate.covered_by = earlier;
        break;
    }
    return fate;
}

Difference Compare(const LoadedPolicy& first, const LoadedPolicy& second, int64_t* budget) {
    Difference difference = {.alike = Answer::kYes, .connection = {}};
    const std::vector<size_t> in_second = SamePrograms(first, second);
    const std::vector<size_t> in_first = SamePrograms(second, first);
    for (size_t i = 0; i <= first.size(); ++i) {
        // Behind a rule with the same program nothing of the second policy sees its connections.
        const size_t last =
            i < first.size() ? std::min(in_second[i], second.size()) : second.size();
        for (size_t j = 0; j <= last; ++j) {
            --*budget;
            const bool second_decides = j < second.size();
            if (second_decides && in_first[j] < i) continue;
            if (i == first.size()
                    ? !second_decides
                    : second_decides && SameSettings(first[i].settings, second[j].settings)) {
                continue;
            }
            const Answer answer = AskPair(first, i, second, j, budget, &difference.connection);
            if (answer == Answer::kYes) {
                difference.alike = Answer::kNo;
                difference.first = i < first.size() ? i : kNoRule;
                difference.second = second_decides ? j : kNoRule;
                return difference;
            }
            if (answer == Answer::kUnknown) difference.alike = Answer::kUnknown;
            if (*budget <= 0) return {};
        }
    }
    return difference;
}

}  // namespace zwmgmt::policy
