/// A tree to a formula over ternary tests and ranges: negations pushed down to them, conjunctions
/// merged into one, alternatives that differ in one bit or make one range as well.
#pragma once

#include <vector>

#include "policies/cube.h"
#include "policies/tree.h"

namespace zwmgmt::policy {

struct Term {
    enum Kind : uint8_t { kAll, kNothing, kCube, kNotCube, kRange, kNotRange, kAnd, kOr, kChoice };
    Kind kind = kNothing;
    int first = -1;  // operands of kAnd and kOr: a chain along `next`; of kChoice: three of them
    int next = -1;
    Cube cube;
    const Directive* directive = nullptr;  // of ranges: what has `low` to `high`, both included
    FieldId field = {};
    uint32_t low = 0;
    uint32_t high = 0;
};

class Formula {
  public:
    /// Replaces what was there.
    void Build(const Tree& tree);

    int Root() const { return root; }
    const Term& At(int position) const { return terms[static_cast<size_t>(position)]; }

  private:
    int Add(const Term& term);
    int AddConstant(bool all) {
        return Add({.kind = all ? Term::kAll : Term::kNothing, .cube = {}});
    }
    int Convert(const Tree& tree, int node, bool negated);
    int ConvertTest(const Test& test, bool negated);
    int ConvertSide(const Test& test, FieldId field, bool negated);
    int AddRange(const Test& test, FieldId field, uint32_t low, uint32_t high);
    int Combine(Term::Kind kind, const int* operands, int count);
    void Flatten(Term::Kind kind, int operand);
    bool MergePair(Term::Kind kind);

    std::vector<Term> terms;
    std::vector<int> operands;  // of the combination in the making
    int root = -1;
};

/// The cube of the connections whose field has the value under the mask, both shifted left.
Cube FieldCube(FieldId field, uint32_t value, uint32_t mask, int shift);

/// How many bits beyond `low` a prefix that begins there and ends at or before `high` can span.
inline int PrefixBits(uint32_t low, uint32_t high, int bits) {
    int free_bits = 0;
    while (free_bits < bits) {
        const uint32_t span = Ones(free_bits + 1);
        if ((low & span) != 0 || span > high - low) break;
        ++free_bits;
    }
    return free_bits;
}

/// Calls `take` with the first number and the free bits of each of the fewest prefixes that make up
/// a part of a range's numbers, and returns how many there are.
template <class Take>
int ForPrefixes(const Term& range, uint32_t low, uint32_t high, Take take) {
    int count = 0;
    for (uint64_t at = low; at <= high; ++count) {
        const int free_bits = PrefixBits(static_cast<uint32_t>(at), high, range.directive->bits);
        take(static_cast<uint32_t>(at), free_bits);
        at += uint64_t{1} << free_bits;
    }
    return count;
}

}  // namespace zwmgmt::policy
