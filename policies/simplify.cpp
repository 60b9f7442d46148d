#include "policies/simplify.h"

#include <algorithm>

namespace zwmgmt::policy {
namespace {

/// Where a field lies, and whether its bytes are in text order.
struct FieldRow {
    size_t offset;
    size_t width;
    bool text_order;
};

constexpr FieldRow kFields[] = {
    {offsetof(PolicyFields, source_address), 4, true},
    {offsetof(PolicyFields, destination_address), 4, true},
    {offsetof(PolicyFields, source_port), 2, false},
    {offsetof(PolicyFields, destination_port), 2, false},
    {offsetof(PolicyFields, vlan), 2, false},
    {offsetof(PolicyFields, tos), 1, false},
    {offsetof(PolicyFields, version), 1, false},
    {offsetof(PolicyFields, open), 1, false},
    {offsetof(PolicyFields, mark), 4, false},
};

uint32_t SwapBytes(uint32_t number) {
    return number >> 24 | (number >> 8 & 0xFF00) | (number << 8 & 0xFF0000) | number << 24;
}

FieldId OtherSide(FieldId field) { return static_cast<FieldId>(static_cast<int>(field) + 1); }

bool IsCube(const Term& term) { return term.kind == Term::kCube || term.kind == Term::kNotCube; }

}  // namespace

Cube FieldCube(FieldId field, uint32_t value, uint32_t mask, int shift) {
    const FieldRow& row = kFields[static_cast<size_t>(field)];
    value = (value & mask) << shift;
    mask <<= shift;
    if (row.text_order) {
        value = SwapBytes(value);
        mask = SwapBytes(mask);
    }
    Cube cube;
    std::memcpy(reinterpret_cast<char*>(cube.value) + row.offset, &value, row.width);
    std::memcpy(reinterpret_cast<char*>(cube.mask) + row.offset, &mask, row.width);
    return cube;
}

int Formula::Add(const Term& term) {
    terms.push_back(term);
    return static_cast<int>(terms.size() - 1);
}

void Formula::Build(const Tree& tree) {
    terms.clear();
    operands.clear();
    root = Convert(tree, static_cast<int>(tree.size() - 1), false);
}

int Formula::Convert(const Tree& tree, int position, bool negated) {
    const Node& node = tree[static_cast<size_t>(position)];
    switch (node.kind) {
        case Node::kAny: return AddConstant(!negated);
        case Node::kNone: return AddConstant(negated);
        case Node::kTest: return ConvertTest(node.test, negated);
        case Node::kNot: return Convert(tree, node.first, !negated);
        case Node::kAnd:
        case Node::kOr: {
            const int both[] = {Convert(tree, node.first, negated),
                                Convert(tree, node.second, negated)};
            return Combine((node.kind == Node::kAnd) != negated ? Term::kAnd : Term::kOr, both, 2);
        }
        case Node::kChoice: {
            const int condition = Convert(tree, node.first, false);
            const int yes = Convert(tree, node.second, negated);
            const int no = Convert(tree, node.third, negated);
            // Operands are chained, and a term may be in one chain only: each is fresh here.
            terms[static_cast<size_t>(condition)].next = yes;
            terms[static_cast<size_t>(yes)].next = no;
            return Add({.kind = Term::kChoice, .first = condition, .cube = {}});
        }
    }
    return AddConstant(false);
}

int Formula::ConvertTest(const Test& test, bool negated) {
    const FieldId field = test.directive->field;
    switch (test.side) {
        case Side::kNone:
        case Side::kSource: return ConvertSide(test, field, negated);
        case Side::kDestination: return ConvertSide(test, OtherSide(field), negated);
        case Side::kEither:
        case Side::kBoth: {
            const int both[] = {ConvertSide(test, field, negated),
                                ConvertSide(test, OtherSide(field), negated)};
            return Combine((test.side == Side::kBoth) != negated ? Term::kAnd : Term::kOr, both, 2);
        }
    }
    return AddConstant(false);
}

int Formula::ConvertSide(const Test& test, FieldId field, bool negated) {
    const uint32_t highest = Ones(test.directive->bits);
    const uint32_t value = test.value;
    switch (test.relation) {
        case Relation::kEqual:
        case Relation::kNotEqual: {
            const bool equal = (test.relation == Relation::kEqual) != negated;
            const Cube cube = FieldCube(field, value, test.mask, test.directive->shift);
            if (cube.IsAny()) return AddConstant(equal);
            return Add({.kind = equal ? Term::kCube : Term::kNotCube, .cube = cube});
        }
        case Relation::kLess:
        case Relation::kGreaterOrEqual: {
            const bool less = (test.relation == Relation::kLess) != negated;
            if (value == 0) return AddConstant(!less);
            return less ? AddRange(test, field, 0, value - 1)
                        : AddRange(test, field, value, highest);
        }
        case Relation::kLessOrEqual:
        case Relation::kGreater: {
            const bool less = (test.relation == Relation::kLessOrEqual) != negated;
            if (value == highest) return AddConstant(less);
            return less ? AddRange(test, field, 0, value)
                        : AddRange(test, field, value + 1, highest);
        }
    }
    return AddConstant(false);
}

int Formula::AddRange(const Test& test, FieldId field, uint32_t low, uint32_t high) {
    return Add({.kind = Term::kRange,
                .cube = {},
                .directive = test.directive,
                .field = field,
                .low = low,
                .high = high});
}

void Formula::Flatten(Term::Kind kind, int operand) {
    const Term& term = At(operand);
    if (term.kind != kind) {
        operands.push_back(operand);
        return;
    }
    for (int i = term.first; i != -1;) {
        const int following = At(i).next;
        operands.push_back(i);
        i = following;
    }
}

namespace {

/// Makes one of two tests of the same kind what both are under the operation; false where that is
/// no single test.
bool MergeCubes(Term* one, const Term& other, Term::Kind operation) {
    // Tests of the operation's own sign: an "and" of them is one test, unless they conflict. Those
    // of the other sign are alternatives.
    const bool joined = one->kind == (operation == Term::kAnd ? Term::kCube : Term::kNotCube);
    if (joined && one->cube.Conflicts(other.cube)) {
        one->kind = operation == Term::kAnd ? Term::kNothing : Term::kAll;
    } else if (joined) {
        one->cube = one->cube.And(other.cube);
    } else if (one->cube.IsWithin(other.cube)) {
        one->cube = other.cube;
    } else if (!other.cube.IsWithin(one->cube)) {
        return one->cube.Merge(other.cube, &one->cube);
    }
    return true;
}

/// The same for ranges of one field.
bool MergeRanges(Term* one, const Term& other, Term::Kind operation) {
    if (one->directive != other.directive || one->field != other.field) return false;
    const uint32_t later_low = std::max(one->low, other.low);
    const uint32_t earlier_high = std::min(one->high, other.high);
    if (operation == Term::kAnd) {
        if (later_low > earlier_high) one->kind = Term::kNothing;
        one->low = later_low;
        one->high = earlier_high;
        return true;
    }
    const uint32_t highest = Ones(one->directive->bits);
    if (later_low > earlier_high && later_low - earlier_high > 1) {
        // Two ends are what is not between them.
        const bool ends =
            std::min(one->low, other.low) == 0 && std::max(one->high, other.high) == highest;
        if (!ends) return false;
        one->kind = Term::kNotRange;
        one->low = earlier_high + 1;
        one->high = later_low - 1;
        return true;
    }
    one->low = std::min(one->low, other.low);
    one->high = std::max(one->high, other.high);
    if (one->low == 0 && one->high == highest) one->kind = Term::kAll;
    return true;
}

}  // namespace

/// Merges the first pair of operands that can be; false when there is none.
bool Formula::MergePair(Term::Kind kind) {
    constexpr size_t kMostCompared = 64;
    const size_t count = std::min(operands.size(), kMostCompared);
    for (size_t i = 0; i < count; ++i) {
        Term& one = terms[static_cast<size_t>(operands[i])];
        for (size_t j = i + 1; j < count; ++j) {
            const Term& other = terms[static_cast<size_t>(operands[j])];
            if (one.kind != other.kind) continue;
            const bool merged = IsCube(one)                ? MergeCubes(&one, other, kind)
                                : one.kind == Term::kRange ? MergeRanges(&one, other, kind)
                                                           : false;
            if (!merged) continue;
            operands.erase(operands.begin() + static_cast<ptrdiff_t>(j));
            return true;
        }
    }
    return false;
}

int Formula::Combine(Term::Kind kind, const int* given, int count) {
    const Term::Kind neutral = kind == Term::kAnd ? Term::kAll : Term::kNothing;
    const Term::Kind decisive = kind == Term::kAnd ? Term::kNothing : Term::kAll;
    operands.clear();
    for (int i = 0; i < count; ++i) Flatten(kind, given[i]);
    while (MergePair(kind)) {
    }
    std::erase_if(operands, [&](int operand) { return At(operand).kind == neutral; });
    for (const int operand : operands) {
        if (At(operand).kind == decisive) return AddConstant(decisive == Term::kAll);
    }
    if (operands.empty()) return AddConstant(neutral == Term::kAll);
    if (operands.size() == 1) return operands[0];
    // Plain tests first: they are the cheapest to leave by.
    auto tests_end = operands.begin();
    for (auto operand = operands.begin(); operand != operands.end(); ++operand) {
        if (IsCube(At(*operand))) std::rotate(tests_end++, operand, operand + 1);
    }
    for (size_t i = 0; i < operands.size(); ++i) {
        terms[static_cast<size_t>(operands[i])].next =
            i + 1 < operands.size() ? operands[i + 1] : -1;
    }
    return Add({.kind = kind, .first = operands[0], .cube = {}});
}

}  // namespace zwmgmt::policy
