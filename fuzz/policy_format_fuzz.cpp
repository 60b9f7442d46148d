/// A policy file through the reader of rules and the formatter: words stand where they are said to,
/// the formatted text compiles to the same records, and formatting it again changes nothing.
#include <cstdlib>
#include <cstring>

#include "policies/compiled_rules.h"
#include "policies/format.h"
#include "policies/words.h"

using namespace zwmgmt::policy;

namespace {

/// False where a rule is wrong.
bool RecordsOf(const std::string& text, std::vector<_OfldPolicy>* records) {
    CompiledRules rules(text, Layout::kContinued);
    while (rules.Next()) {
        if (!rules.IsRight()) {
            if (rules.Describe().reason.empty()) std::abort();
            return false;
        }
        records->push_back(rules.Record());
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    const std::string text(reinterpret_cast<const char*>(input), size);
    RuleReader reader(text, Layout::kContinued);
    while (reader.Next()) {
        for (Words words(reader.Rule()); !words.Is(Mark::kEnd); words.Advance()) {
            const Word& word = words.Current();
            if (text.substr(reader.PlaceOf(word.column - 1), word.text.size()) != word.text) {
                std::abort();
            }
        }
    }
    std::vector<_OfldPolicy> records;
    std::vector<_OfldPolicy> again;
    if (!RecordsOf(text, &records)) return 0;
    const std::string formatted = Format(text);
    if (Format(formatted) != formatted || !RecordsOf(formatted, &again) ||
        again.size() != records.size()) {
        std::abort();
    }
    for (size_t i = 0; i < records.size(); ++i) {
        if (std::memcmp(&records[i], &again[i], sizeof(again[i])) != 0) std::abort();
    }
    return 0;
}
