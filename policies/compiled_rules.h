/// The rules of a text, compiled one after the other: one is held at a time.
#pragma once

#include <vector>

#include "policies/policy_text.h"
#include "policies/rules.h"
#include "zwmgmt/policy.h"

namespace zwmgmt::policy {

/// How many instructions the record's program has.
inline size_t LengthOf(const _OfldPolicy& record) {
    size_t count = 0;
    while (count < kPolicyInstructions && record.program[count].used != 0) ++count;
    return count;
}

class CompiledRules {
  public:
    CompiledRules(std::string_view whole_text, Layout layout)
        : text(whole_text), rules(whole_text, layout), places(whole_text) {}

    /// Compiles the next rule, be it right or wrong; false behind the last. Throws std::bad_alloc.
    bool Next();

    bool IsRight() const { return right; }
    size_t Number() const { return rules.Number(); }

    /// Of a rule that is right; interface name, index and operation are empty.
    const _OfldPolicy& Record() const { return record; }

    /// The place of its first word.
    Place Begin();

    /// Of a rule that is wrong: as the library says it, and for people who look at the file.
    const char* Error() const { return classifier.Error(); }
    struct Fault {
        size_t rule;
        Place place;
        std::string reason;
        MarkedLine marked;
    };
    Fault Describe();

  private:
    size_t FirstWord() const;

    const std::string_view text;
    RuleReader rules;
    Places places;
    Classifier classifier;
    std::vector<PolicyInstruction> program;
    _OfldPolicy record = {};
    bool right = false;
};

}  // namespace zwmgmt::policy
