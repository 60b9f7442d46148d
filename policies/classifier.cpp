/// The stages of the compiler, one after the other, and the interpreter of what they make.
#include <algorithm>
#include <new>
#include <utility>

#include "policies/generate.h"
#include "policies/parser.h"
#include "policies/reach.h"
#include "policies/search.h"
#include "zwmgmt/policy.h"

using namespace zwmgmt::policy;

struct Classifier::Stages {
    Tree tree;
    Formula formula;
    Generator generator;
    std::vector<Step> steps;
    std::string error;
    std::string reason;  // the error's, and its place
    size_t column = 0;
    size_t length = 0;
    size_t unfit = 0;  // the number of a rule whose filter does not fit; 0: none

    bool Run(std::string_view rule, size_t rule_number, std::vector<PolicyInstruction>* program,
             PolicySettings* settings);
    bool Wrong(size_t rule_number, const std::string& text);
    bool Wrong(size_t rule_number, const Complaint& complaint);
    std::string TooLong() const;
    void Explain() noexcept;
};

bool Classifier::Stages::Wrong(size_t rule_number, const std::string& text) {
    error = "rule " + std::to_string(rule_number) + ": " + text;
    reason = text;
    column = length = 0;
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
    Wrong(rule_number, text);
    reason = complaint.text;
    column = word.column;
    length = word.text.size();
    return false;
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

static_assert(zwmgmt::kPolicyInstructions == 8);
constexpr std::string_view kLimit = ", and the adapter holds 8";

// In the order of FieldId.
constexpr std::string_view kFieldWords[] = {"'src net'",  "'dst net'", "'src port'",
                                            "'dst port'", "'vlan'",    "'tos'",
                                            "'vers'",     "'listen'",  "'mark'"};
static_assert(std::size(kFieldWords) == kFieldCount);

/// The field with the most tests, and how many they are.
std::string Costliest(const std::vector<Step>& steps) {
    size_t most = 0;
    std::string_view word;
    for (int field = 0; field < kFieldCount; ++field) {
        std::vector<Cube> tests;
        for (const Step& step : steps) {
            const Cube part = PartOf(step.cube, static_cast<FieldId>(field));
            const bool known = std::ranges::find(tests, part) != tests.end();
            if (!part.IsAny() && !known) tests.push_back(part);
        }
        if (tests.size() <= most) continue;
        most = tests.size();
        word = kFieldWords[field];
    }
    return std::string(word) + " has the most tests, " + std::to_string(most);
}

/// The word of relations without a side, if the filter would fit with a side.
std::string_view WordToGiveASide(Tree tree) {
    std::string_view word;
    for (Node& node : tree) {
        Test& test = node.test;
        if (node.kind != Node::kTest || test.side != Side::kEither) continue;
        if (test.relation == Relation::kEqual) continue;
        test.side = Side::kDestination;
        word = test.directive->word;
    }
    if (word.empty()) return word;
    Formula formula;
    Generator generator;
    std::vector<Step> steps;
    formula.Build(tree);
    const bool composed = Compose(formula, &generator, &steps);
    return composed && steps.size() <= zwmgmt::kPolicyInstructions ? word : "";
}

}  // namespace

std::string Classifier::Stages::TooLong() const {
    std::string text = "the filter needs " + std::to_string(steps.size()) + " instructions";
    text.append(kLimit).append("; ").append(Costliest(steps));
    const int least = Search::LeastSteps(steps);
    if (least > 1) text += "; these tests take " + std::to_string(least) + " at least";
    const std::string_view word = WordToGiveASide(tree);
    if (!word.empty()) {
        text.append("; name the side of '").append(word).append("', then it fits");
    }
    return text;
}

/// What a filter takes that does not fit is worked out for those who ask.
void Classifier::Stages::Explain() noexcept {
    const size_t rule_number = std::exchange(unfit, 0);
    if (rule_number == 0) return;
    try {
        Wrong(rule_number, TooLong());
    } catch (const std::bad_alloc&) {
        error.clear();
    }
}

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
    if (!Compose(formula, &generator, &steps)) {
        return Wrong(rule_number, "the filter needs more than " +
                                      std::to_string(Generator::kMostSteps) + " instructions" +
                                      std::string(kLimit));
    }
    if (steps.size() > zwmgmt::kPolicyInstructions) {
        unfit = rule_number;
        return false;
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
        stages->unfit = 0;
        return stages->Run(rule, rule_number, program, settings);
    } catch (const std::bad_alloc&) {
        stages->error.clear();
        return false;
    }
}

const char* Classifier::Error() const noexcept {
    if (stages == nullptr) return "";
    stages->Explain();
    return stages->error.c_str();
}

Classifier::Reason Classifier::WhyNot() const noexcept {
    if (Error()[0] == '\0') return {"", 0, 0};
    return {stages->reason.c_str(), stages->column, stages->length};
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
