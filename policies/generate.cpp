#include "policies/generate.h"

#include <algorithm>

namespace zwmgmt::policy {

namespace {

constexpr int kTrials = 512;
constexpr size_t kMostMade = 4 * Generator::kMostSteps;

/// Whether a term, or its opposite, is of a kind.
bool Is(const Term& term, bool opposite, Term::Kind kind, Term::Kind opposite_kind) {
    return term.kind == (opposite ? opposite_kind : kind);
}

}  // namespace

bool Generator::Run(const Formula& given, std::vector<Step>* steps) {
    formula = &given;
    trials = kTrials;
    Begin();
    return Finish(Generate(given.Root(), {false, {}, kAccept, kReject}), steps);
}

void Generator::Tidy(std::vector<Step>* steps) {
    Begin();
    std::vector<int> positions(steps->size());
    const auto position = [&](int target) {
        return target < 0 ? target : positions[static_cast<size_t>(target)];
    };
    for (size_t i = steps->size(); i > 0; --i) {
        const Step& step = (*steps)[i - 1];
        positions[i - 1] = Make({step.cube, position(step.on_match), position(step.on_miss)});
    }
    Finish(positions[0], steps);
}

void Generator::Begin() {
    made.clear();
    full = false;
}

bool Generator::Finish(int entry, std::vector<Step>* steps) {
    steps->clear();
    if (full || Count(entry) > static_cast<int>(kMostSteps)) return false;
    if (entry == kReject) return true;
    if (entry == kAccept) {
        steps->push_back({{}, kAccept, kReject});
        return true;
    }
    const auto position = [&](int target) {
        return target < 0 ? target : order[static_cast<size_t>(target)];
    };
    const int last = static_cast<int>(sequence.size()) - 1;
    for (size_t i = 0; i < sequence.size(); ++i) {
        order[static_cast<size_t>(sequence[i])] = last - static_cast<int>(i);
    }
    for (size_t i = sequence.size(); i > 0; --i) {
        const Step& step = At(sequence[i - 1]);
        steps->push_back({step.cube, position(step.on_match), position(step.on_miss)});
    }
    return true;
}

/// How many steps a program has that begins there.
int Generator::Count(int entry) {
    order.assign(made.size(), -1);
    sequence.clear();
    Order(entry);
    return static_cast<int>(sequence.size());
}

/// Appends the reachable steps to the sequence, each after those it leads to.
void Generator::Order(int position) {
    if (position < 0 || order[static_cast<size_t>(position)] != -1) return;
    order[static_cast<size_t>(position)] = 0;
    Order(At(position).on_miss);
    Order(At(position).on_match);
    sequence.push_back(position);
}

int Generator::Generate(int position, const Goal& goal) {
    if (full) return kReject;
    const Term& term = formula->At(position);
    const auto& [opposite, under, yes, no] = goal;
    switch (term.kind) {
        case Term::kAll:
        case Term::kNothing:
            return Is(term, opposite, Term::kAll, Term::kNothing) ? Make({under, yes, no}) : no;
        case Term::kCube:
        case Term::kNotCube: {
            const bool conflict = under.Conflicts(term.cube);
            if (Is(term, opposite, Term::kCube, Term::kNotCube)) {
                return conflict ? no : Make({under.And(term.cube), yes, no});
            }
            const int rest = Make({under, yes, no});
            return conflict ? rest : Make({term.cube, no, rest});
        }
        case Term::kNumbers: return GenerateNumbers(term, goal);
        case Term::kAnd:
        case Term::kOr:
            if (Is(term, opposite, Term::kAnd, Term::kOr)) return GenerateConjunction(term, goal);
            // What is "no" to alternatives is "yes" to the conjunction of their opposites.
            return under.IsAny() ? GenerateConjunction(term, {!opposite, {}, no, yes})
                                 : GenerateAlternatives(term.first, goal);
        case Term::kChoice: {
            const int then = formula->At(term.first).next;
            const int otherwise = formula->At(then).next;
            const int on_yes = Generate(then, goal);
            const int on_no = Generate(otherwise, goal);
            return Generate(term.first, {false, {}, on_yes, on_no});
        }
    }
    return no;
}

/// The shortest of the lists that decide the numbers. In the rows that lead to `yes`, the last of
/// which may be what no row is for, `under` is tested as well.
int Generator::GenerateNumbers(const Term& term, const Goal& goal) {
    const auto& [opposite, under, yes, no] = goal;
    const int bits = BitsOf(term.field);
    const Numbers& numbers = formula->NumbersOf(term);
    std::vector<Row> best;
    bool best_rest = opposite;
    size_t least = SIZE_MAX;
    for (const bool prefixes : {false, true}) {
        for (const bool rest : {opposite, !opposite}) {
            if (least == 2) break;  // one row is no set of numbers, but a test
            std::vector<Row> rows =
                prefixes ? ShortestList(numbers, bits, rest) : TernaryList(numbers, bits, rest);
            const size_t count = rows.size() + (rest != opposite && !under.IsAny());
            if (count >= least || rows.empty()) continue;
            least = count;
            best = std::move(rows);
            best_rest = rest;
        }
    }
    int target = best_rest != opposite ? Make({under, yes, no}) : no;
    for (size_t i = best.size(); i > 0; --i) {
        const Row& row = best[i - 1];
        const Cube cube = FieldCube(term.field, row.value, row.mask);
        if (row.in == opposite) {
            target = Make({cube, no, target});
        } else if (!under.Conflicts(cube)) {
            target = Make({under.And(cube), yes, target});
        }
    }
    return target;
}

/// All operands that are tests are one, which is a step before the others or part of the steps of
/// one of them, whichever is shorter.
int Generator::GenerateConjunction(const Term& chain, const Goal& goal) {
    Cube test = goal.under;
    for (int i = chain.first; i != -1; i = formula->At(i).next) {
        const Term& operand = formula->At(i);
        if (!Is(operand, goal.opposite, Term::kCube, Term::kNotCube)) continue;
        if (test.Conflicts(operand.cube)) return goal.no;
        test = test.And(operand.cube);
    }
    const int rest = GenerateRest(chain.first, goal, {}, -1);
    int best = Make({test, rest, goal.no});
    if (test.IsAny()) return best;
    int least = -1;
    for (int i = chain.first; i != -1 && trials > 0; i = formula->At(i).next) {
        const Term& operand = formula->At(i);
        if (operand.kind == Term::kCube || operand.kind == Term::kNotCube) continue;
        if (least == -1) least = Count(best);
        const int form = GenerateRest(chain.first, goal, test, i);
        const int count = Count(form);
        if (count >= least) continue;
        best = form;
        least = count;
    }
    return best;
}

/// The operands from one to the last that are no tests of the conjunction's sign. Holds the test in
/// the steps of one of them, the `holder`.
int Generator::GenerateRest(int operand, const Goal& goal, const Cube& test, int holder) {
    if (operand == -1) return goal.yes;
    const Term& term = formula->At(operand);
    const int tail = GenerateRest(term.next, goal, test, holder);
    if (Is(term, goal.opposite, Term::kCube, Term::kNotCube)) return tail;
    const Cube own = operand == holder ? test : Cube{};
    return Generate(operand, {goal.opposite, own, tail, goal.no});
}

/// The operands from one to the last. The later ones come first: they are a shared tail.
int Generator::GenerateAlternatives(int operand, const Goal& goal) {
    const int following = formula->At(operand).next;
    Goal own = goal;
    if (following != -1) own.no = GenerateAlternatives(following, goal);
    return Generate(operand, own);
}

/// Where a step really leads, given what its own outcome tells of the tests behind it.
int Generator::Leave(int target, const Cube& cube, bool matched) const {
    while (target >= 0) {
        const Step& next = At(target);
        if (matched && cube.IsWithin(next.cube)) {
            target = next.on_match;
        } else if (matched ? cube.Conflicts(next.cube) : next.cube.IsWithin(cube)) {
            target = next.on_miss;
        } else {
            break;
        }
    }
    return target;
}

int Generator::Make(Step step) {
    for (;;) {
        if (step.cube.IsAny()) return step.on_match;
        step.on_match = Leave(step.on_match, step.cube, true);
        step.on_miss = Leave(step.on_miss, step.cube, false);
        if (step.on_match == step.on_miss) return step.on_match;
        // Where the tests behind a miss send a match the same way, this one is not needed.
        if (Leave(step.on_miss, step.cube, true) == step.on_match) return step.on_miss;
        // A test on the way to the same miss is part of this one.
        if (step.on_match < 0 || At(step.on_match).on_miss != step.on_miss) break;
        const Step& next = At(step.on_match);
        step = {step.cube.And(next.cube), next.on_match, step.on_miss};
    }
    --trials;
    const auto same = std::ranges::find(made, step);
    if (same != made.end()) return static_cast<int>(same - made.begin());
    if (made.size() == kMostMade) {
        full = true;
        return kReject;
    }
    made.push_back(step);
    return static_cast<int>(made.size() - 1);
}

}  // namespace zwmgmt::policy
