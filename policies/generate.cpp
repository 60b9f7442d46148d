#include "policies/generate.h"

#include <algorithm>

namespace zwmgmt::policy {

bool Generator::Run(const Formula& formula, std::vector<Step>* steps) {
    made.clear();
    order.clear();
    sequence.clear();
    full = false;
    steps->clear();
    const int entry = Generate(formula, formula.Root(), kAccept, kReject);
    if (full) return false;
    if (entry == kReject) return true;
    if (entry == kAccept) {
        steps->push_back({{}, kAccept, kReject});
        return true;
    }
    order.assign(made.size(), -1);
    Order(entry);
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

/// Appends the reachable steps to the sequence, each after those it leads to.
void Generator::Order(int position) {
    if (position < 0 || order[static_cast<size_t>(position)] != -1) return;
    order[static_cast<size_t>(position)] = 0;
    Order(At(position).on_miss);
    Order(At(position).on_match);
    sequence.push_back(position);
}

int Generator::Generate(const Formula& formula, int position, int yes, int no) {
    if (full) return kReject;
    const Term& term = formula.At(position);
    switch (term.kind) {
        case Term::kAll: return yes;
        case Term::kNothing: return no;
        case Term::kCube: return Make({term.cube, yes, no});
        case Term::kNotCube: return Make({term.cube, no, yes});
        case Term::kRange: return GenerateRange(term, term.low, term.high, yes, no);
        case Term::kNotRange: return GenerateRange(term, term.low, term.high, no, yes);
        case Term::kAnd:
        case Term::kOr: return GenerateChain(formula, term.first, term.kind == Term::kAnd, yes, no);
        case Term::kChoice: {
            const int then = formula.At(term.first).next;
            const int otherwise = formula.At(then).next;
            const int on_yes = Generate(formula, then, yes, no);
            const int on_no = Generate(formula, otherwise, yes, no);
            return Generate(formula, term.first, on_yes, on_no);
        }
    }
    return no;
}

namespace {

int CountPrefixes(const Term& range, uint32_t low, uint32_t high) {
    return low <= high ? ForPrefixes(range, low, high, [](uint32_t, int) {}) : 0;
}

}  // namespace

/// The fewest steps of three ways: the prefixes of what is in the range, those of what is not, or
/// one bound after the other.
int Generator::GenerateRange(const Term& range, uint32_t low, uint32_t high, int yes, int no) {
    const Directive& directive = *range.directive;
    const uint32_t highest = Ones(directive.bits);
    const int inside = CountPrefixes(range, low, high);
    const int below = low > 0 ? CountPrefixes(range, 0, low - 1) : 0;
    const int above = high < highest ? CountPrefixes(range, high + 1, highest) : 0;
    if (below > 0 && above > 0) {
        const int from_low = std::min(below, CountPrefixes(range, low, highest));
        const int to_high = std::min(above, CountPrefixes(range, 0, high));
        if (from_low + to_high < std::min(inside, below + above)) {
            const int bounded_above = GenerateRange(range, 0, high, yes, no);
            return GenerateRange(range, low, highest, bounded_above, no);
        }
    }
    const bool complement = below + above < inside;
    int target = complement ? yes : no;
    const auto add = [&](uint32_t first, int free_bits) {
        const Cube cube =
            FieldCube(range.field, first, highest & ~Ones(free_bits), directive.shift);
        target = Make({cube, complement ? no : yes, target});
    };
    if (!complement) ForPrefixes(range, low, high, add);
    if (complement && below > 0) ForPrefixes(range, 0, low - 1, add);
    if (complement && above > 0) ForPrefixes(range, high + 1, highest, add);
    return target;
}

/// The operands from one to the last. The later ones come first: they are a shared tail.
int Generator::GenerateChain(const Formula& formula, int position, bool conjunction, int yes,
                             int no) {
    const int following = formula.At(position).next;
    if (following == -1) return Generate(formula, position, yes, no);
    const int tail = GenerateChain(formula, following, conjunction, yes, no);
    return conjunction ? Generate(formula, position, tail, no)
                       : Generate(formula, position, yes, tail);
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
        // A test on the way to the same miss is part of this one.
        if (step.on_match < 0 || At(step.on_match).on_miss != step.on_miss) break;
        const Step& next = At(step.on_match);
        step = {step.cube.And(next.cube), next.on_match, step.on_miss};
    }
    const auto same = std::ranges::find(made, step);
    if (same != made.end()) return static_cast<int>(same - made.begin());
    if (made.size() == kMostSteps) {
        full = true;
        return kReject;
    }
    made.push_back(step);
    return static_cast<int>(made.size() - 1);
}

// ---- What cannot match ----------------------------------------------------------------------

namespace {

/// The search for a connection that takes a path: it passes `passed` and none of `missed`.
class Search {
  public:
    explicit Search(const std::vector<Step>& program) : steps(program) {}

    bool From(int position, const Cube& passed) {
        if (position == kAccept) return missed.empty() || Exists(passed, missed);
        if (position == kReject) return false;
        if (--budget < 0) return true;
        const Step& step = steps[static_cast<size_t>(position)];
        if (!passed.Conflicts(step.cube) && From(step.on_match, passed.And(step.cube))) return true;
        missed.push_back(step.cube);
        const bool found = From(step.on_miss, passed);
        missed.pop_back();
        return found;
    }

  private:
    /// Whether something passes and misses all: each miss asks for one differing bit.
    bool Exists(const Cube& passed, std::vector<Cube> misses) {
        if (--budget < 0) return true;
        std::erase_if(misses, [&](const Cube& miss) { return passed.Conflicts(miss); });
        for (;;) {
            bool dropped = false;
            for (size_t i = 0; i < misses.size() && !dropped; ++i) {
                if (passed.IsWithin(misses[i])) return false;
                if (!HasBitOfItsOwn(misses, i, passed)) continue;
                misses.erase(misses.begin() + static_cast<ptrdiff_t>(i));
                dropped = true;
            }
            if (misses.empty()) return true;
            if (!dropped) break;
        }
        // Every bit of the first miss is wanted the other way by another: try both ways.
        Cube bit;
        for (int i = 0; i < 3 && bit.IsAny(); ++i) {
            const uint64_t free_bits = misses[0].mask[i] & ~passed.mask[i];
            bit.mask[i] = free_bits & (~free_bits + 1);
            bit.value[i] = misses[0].value[i] & bit.mask[i];
        }
        Cube flipped = bit;
        for (int i = 0; i < 3; ++i) flipped.value[i] ^= flipped.mask[i];
        return Exists(passed.And(flipped), misses) || Exists(passed.And(bit), misses);
    }

    /// Whether a bit can be chosen to miss one without making another match.
    static bool HasBitOfItsOwn(const std::vector<Cube>& misses, size_t one, const Cube& passed) {
        for (int i = 0; i < 3; ++i) {
            uint64_t bits = misses[one].mask[i] & ~passed.mask[i];
            for (size_t j = 0; j < misses.size(); ++j) {
                bits &= ~(misses[j].mask[i] & (misses[j].value[i] ^ misses[one].value[i]));
            }
            if (bits != 0) return true;
        }
        return false;
    }

    const std::vector<Step>& steps;
    std::vector<Cube> missed;
    int budget = 100'000;
};

}  // namespace

bool CanMatch(const std::vector<Step>& steps) {
    return !steps.empty() && Search(steps).From(0, {});
}

}  // namespace zwmgmt::policy
