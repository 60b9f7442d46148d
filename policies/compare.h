/// What the rules of a policy do to each other, and whether two policies decide alike: exact, over
/// the compiled programs, within a budget of steps.
#pragma once

#include <string_view>
#include <vector>

#include "policies/reach.h"

namespace zwmgmt::policy {

/// The steps that may be spent on one command; half a minute at most.
constexpr int64_t kComparisonBudget = 200'000'000;

/// A policy's rules in order; the first whose program accepts a connection decides.
struct LoadedRule {
    std::vector<Step> program;
    Cube hull;  // everything that the program accepts is within it
    PolicySettings settings;
    size_t line;
};
using LoadedPolicy = std::vector<LoadedRule>;

constexpr size_t kMostLoaded = 65'536;
constexpr size_t kNoRule = SIZE_MAX;

LoadedRule LoadRule(std::vector<Step> program, const PolicySettings& settings, size_t line);

/// Loads the rules of a text that compiles. False where it has more than kMostLoaded.
bool Load(std::string_view text, LoadedPolicy* policy);

/// The position of the rule that decides, or kNoRule.
size_t DecidingRule(const LoadedPolicy& policy, const PolicyFields& connection);

bool SameSettings(const PolicySettings& one, const PolicySettings& other);

/// What becomes of a rule behind the ones before it.
struct RuleFate {
    Answer decides = Answer::kUnknown;  // whether it does for any connection
    Cube connection;                    // then: what such a connection has
    std::vector<size_t> overlapped;     // earlier rules that match connections of its own
    size_t covered_by = kNoRule;        // the one that takes them all, where one does
    bool all_overlaps_known = true;
};
RuleFate FateOf(const LoadedPolicy& policy, size_t rule, int64_t* budget);

/// Whether the settings are the same for every connection, and who decides one for which they are
/// not.
struct Difference {
    Answer alike = Answer::kUnknown;
    Cube connection;
    size_t first = kNoRule;
    size_t second = kNoRule;
};
Difference Compare(const LoadedPolicy& first, const LoadedPolicy& second, int64_t* budget);

}  // namespace zwmgmt::policy
