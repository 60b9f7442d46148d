/// The stages of the compiler, one after the other, and the interpreter of what they make.
#include <algorithm>
#include <new>

#include "policies/generate.h"
#include "policies/parser.h"
#include "policies/search.h"
#include "zwmgmt/policy.h"

using namespace zwmgmt::policy;

struct Classifier::Stages {
    Tree tree;
    Formula formula;
    Generator generator;
    std::vector<Step> steps;
    std::string error;

    bool Run(std::string_view rule, size_t rule_number, std::vector<PolicyInstruction>* program,
             PolicySettings* settings);
    bool Wrong(size_t rule_number, const std::string& text);
    bool Wrong(size_t rule_number, const Complaint& complaint);
};

bool Classifier::Stages::Wrong(size_t rule_number, const std::string& text) {
    error = "rule " + std::to_string(rule_number) + ": " + text;
    return false;
}

bool Classifier::Stages::Wrong(size_t rule_number, const Complaint& complaint) {
    const Word& word = complaint.word;
    std::string text = complaint.text;
    text.append(" (column ").append(std::to_string(word.column)).append(": ");
    if (word.mark == Mark::kEnd) {
        text.append("end of rule)");
    } else {
        text.append("'").append(word.text).append("')");
    }
    return Wrong(rule_number, text);
}

namespace {

uint8_t Target(int position) {
    return position == kAccept   ? zwmgmt::kPolicyAccept
           : position == kReject ? zwmgmt::kPolicyReject
                                 : static_cast<uint8_t>(position);
}

PolicyInstruction Encode(const Step& step) {
    PolicyInstruction instruction = {};
    std::memcpy(&instruction.value, step.cube.value, sizeof(instruction.value));
    std::memcpy(&instruction.mask, step.cube.mask, sizeof(instruction.mask));
    instruction.used = 1;
    instruction.on_match = Target(step.on_match);
    instruction.on_miss = Target(step.on_miss);
    return instruction;
}

}  // namespace

bool Classifier::Stages::Run(std::string_view rule, size_t rule_number,
                             std::vector<PolicyInstruction>* program, PolicySettings* settings) {
    Words words(rule);
    Complaint complaint;
    if (!ParseExpression(&words, rule_number, &tree, &complaint)) {
        return Wrong(rule_number, complaint);
    }
    words.Advance();  // the arrow
    PolicySettings parsed = {};
    if (!ParseSettings(&words, &parsed, &complaint)) return Wrong(rule_number, complaint);

    formula.Build(tree);
    const bool whole = Compose(formula, &generator, &steps);
    if (!whole || steps.size() > zwmgmt::kPolicyInstructions) {
        const size_t needed = whole ? steps.size() : Generator::kMostSteps;
        return Wrong(rule_number, std::string("the filter needs ") + (whole ? "" : "more than ") +
                                      std::to_string(needed) +
                                      " instructions, and the adapter holds " +
                                      std::to_string(zwmgmt::kPolicyInstructions));
    }
    if (!CanMatch(steps)) {
        return Wrong(rule_number, "pattern " + std::to_string(rule_number) + " matches no packets");
    }
    program->clear();
    for (const Step& step : steps) program->push_back(Encode(step));
    *settings = parsed;
    return true;
}

Classifier::Classifier() noexcept : stages(new (std::nothrow) Stages) {}
Classifier::~Classifier() { delete stages; }

bool Classifier::Compile(std::string_view rule, size_t rule_number,
                         std::vector<PolicyInstruction>* program,
                         PolicySettings* settings) noexcept {
    if (stages == nullptr) return false;
    try {
        stages->error.clear();
        return stages->Run(rule, rule_number, program, settings);
    } catch (const std::bad_alloc&) {
        stages->error.clear();
        return false;
    }
}

const char* Classifier::Error() const noexcept {
    return stages != nullptr ? stages->error.c_str() : "";
}

bool Classifier::Matches(const PolicyInstruction* program, size_t count,
                         const PolicyFields& connection) noexcept {
    Cube fields;
    std::memcpy(fields.value, &connection, sizeof(connection));
    uint8_t position = 0;
    for (size_t taken = 0; taken < count && position < count; ++taken) {
        const PolicyInstruction& step = program[position];
        const Cube cube = CubeOf(step.value, step.mask);
        uint64_t different = 0;
        for (int i = 0; i < 3; ++i) different |= (fields.value[i] & cube.mask[i]) ^ cube.value[i];
        position = different == 0 ? step.on_match : step.on_miss;
    }
    return position == zwmgmt::kPolicyAccept;
}
