#include "policies/compiled_rules.h"

#include <cstring>
#include <new>

namespace zwmgmt::policy {

bool CompiledRules::Next() {
    if (!rules.Next()) return false;
    record = {};
    right = classifier.Compile(rules.Rule(), rules.Number(), &program, &record.settings);
    if (!right && classifier.Error()[0] == '\0') throw std::bad_alloc();
    if (right) std::memcpy(record.program, program.data(), program.size() * sizeof(program[0]));
    return true;
}

size_t CompiledRules::FirstWord() const {
    return rules.PlaceOf(rules.Rule().find_first_not_of(" \t\n\v\f\r"));
}

Place CompiledRules::Begin() { return places.Of(FirstWord()); }

CompiledRules::Fault CompiledRules::Describe() {
    constexpr size_t kMostShown = 200;
    const Classifier::Reason why = classifier.WhyNot();
    size_t offset = FirstWord();
    size_t length = why.length;
    if (why.column != 0) {
        offset = rules.PlaceOf(length > 0 ? why.column - 1 : rules.Rule().size());
    } else {
        length = std::min(text.find_first_of(" \t\n\r", offset), text.size()) - offset;
    }
    return {rules.Number(), places.Of(offset), Shown(why.text, kMostShown),
            MarkIn(text, offset, length)};
}

}  // namespace zwmgmt::policy
