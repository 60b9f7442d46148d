/// A tree to a formula over ternary tests and sets of numbers: negations pushed down to them, a
/// conjunction of tests merged into one, all that is said of one field into one set of its numbers.
#pragma once

#include <vector>

#include "policies/cube.h"
#include "policies/numbers.h"
#include "policies/tree.h"

namespace zwmgmt::policy {

struct Term {
    enum Kind : uint8_t { kAll, kNothing, kCube, kNotCube, kNumbers, kAnd, kOr, kChoice };
    Kind kind = kNothing;
    bool of_field = false;  // a test of the field alone: of kNumbers or `value` under `mask`
    FieldId field = {};
    uint16_t fields = 0;  // all that a test is about, a bit each
    int first = -1;  // operands of kAnd and kOr: a chain along `next`; of kChoice: three of them
    int next = -1;
    int numbers = -1;  // of kNumbers: the position of those that pass
    uint32_t value = 0;
    uint32_t mask = 0;
    Cube cube;
};

class Formula {
  public:
    /// Replaces what was there.
    void Build(const Tree& tree);

    int Root() const { return root; }
    const Term& At(int position) const { return terms[static_cast<size_t>(position)]; }

    /// What passes a term of kNumbers.
    const Numbers& NumbersOf(const Term& term) const {
        return sets[static_cast<size_t>(term.numbers)];
    }

    /// Whether a field is spoken of in two places, so that what one test tells may decide another.
    /// Where none is, there is nothing to gain from another order of the tests.
    bool RepeatsFields() const;

  private:
    bool Repeats(int term, uint16_t* seen) const;
    int Add(const Term& term);
    int AddConstant(bool all) {
        return Add({.kind = all ? Term::kAll : Term::kNothing, .cube = {}});
    }
    int Convert(const Tree& tree, int node, bool negated);
    int ConvertTest(const Test& test, bool negated);
    int ConvertSide(const Test& test, FieldId field, bool negated);
    int AddSpan(FieldId field, Span span);
    static void SetCube(Term* term, Term::Kind kind, uint32_t value, uint32_t mask);
    int Combine(Term::Kind kind, const int* operands, int count);
    void Flatten(Term::Kind kind, int operand);
    bool Passing(const Term& term, Numbers* numbers) const;
    void SetNumbers(Term* term, Numbers numbers);
    bool Merge(Term* one, const Term& other, Term::Kind kind);
    bool MergePair(Term::Kind kind);

    std::vector<Term> terms;
    std::vector<Numbers> sets;
    std::vector<int> operands;  // of the combination in the making
    int root = -1;
};

/// How many bits a field's numbers have.
int BitsOf(FieldId field);

/// The cube of the connections whose field has the value under the mask.
Cube FieldCube(FieldId field, uint32_t value, uint32_t mask);

/// What a cube asks of one field.
Cube PartOf(const Cube& cube, FieldId field);

}  // namespace zwmgmt::policy
