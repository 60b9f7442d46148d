#include "policies/simplify.h"

#include <algorithm>
#include <bit>

namespace zwmgmt::policy {
namespace {

/// Where a field lies, and whether its bytes are in text order.
struct FieldRow {
    size_t offset;
    size_t width;
    bool text_order;
    int bits;
};

constexpr FieldRow kFields[] = {
    {offsetof(PolicyFields, source_address), 4, true, 32},
    {offsetof(PolicyFields, destination_address), 4, true, 32},
    {offsetof(PolicyFields, source_port), 2, false, 16},
    {offsetof(PolicyFields, destination_port), 2, false, 16},
    {offsetof(PolicyFields, vlan), 2, false, 12},
    {offsetof(PolicyFields, tos), 1, false, 8},
    {offsetof(PolicyFields, version), 1, false, 4},
    {offsetof(PolicyFields, open), 1, false, 2},
    {offsetof(PolicyFields, mark), 4, false, 32},
};

uint32_t SwapBytes(uint32_t number) {
    return number >> 24 | (number >> 8 & 0xFF00) | (number << 8 & 0xFF0000) | number << 24;
}

FieldId OtherSide(FieldId field) { return static_cast<FieldId>(static_cast<int>(field) + 1); }

uint16_t BitOf(FieldId field) { return static_cast<uint16_t>(1 << static_cast<int>(field)); }

bool IsCube(const Term& term) { return term.kind == Term::kCube || term.kind == Term::kNotCube; }

/// A negated test of one bit becomes the test for its other value.
void Straighten(Term* term) {
    if (term->kind != Term::kNotCube) return;
    int bits = 0;
    for (const uint64_t mask : term->cube.mask) bits += std::popcount(mask);
    if (bits != 1) return;
    term->kind = Term::kCube;
    term->value ^= term->mask;
    for (int i = 0; i < 3; ++i) term->cube.value[i] ^= term->cube.mask[i];
}

bool IsOneField(const Term& one, const Term& other) {
    return one.of_field && other.of_field && one.field == other.field;
}

}  // namespace

int BitsOf(FieldId field) { return kFields[static_cast<size_t>(field)].bits; }

Cube FieldCube(FieldId field, uint32_t value, uint32_t mask) {
    const FieldRow& row = kFields[static_cast<size_t>(field)];
    value &= mask;
    if (row.text_order) {
        value = SwapBytes(value);
        mask = SwapBytes(mask);
    }
    Cube cube;
    std::memcpy(reinterpret_cast<char*>(cube.value) + row.offset, &value, row.width);
    std::memcpy(reinterpret_cast<char*>(cube.mask) + row.offset, &mask, row.width);
    return cube;
}

Cube PartOf(const Cube& cube, FieldId field) {
    const Cube whole = FieldCube(field, 0, Ones(BitsOf(field)));
    Cube part;
    for (int i = 0; i < 3; ++i) {
        part.mask[i] = cube.mask[i] & whole.mask[i];
        part.value[i] = cube.value[i] & whole.mask[i];
    }
    return part;
}

int Formula::Add(const Term& term) {
    terms.push_back(term);
    return static_cast<int>(terms.size() - 1);
}

bool Formula::RepeatsFields() const {
    uint16_t seen = 0;
    return Repeats(root, &seen);
}

/// Whether a term, or one of the operands behind it, is about a field that has been seen before.
/// Two operands about one field alone are as good as one.
bool Formula::Repeats(int position, uint16_t* seen) const {
    uint16_t alone = 0;
    for (int i = position; i != -1; i = At(i).next) {
        if (At(i).kind == Term::kNumbers && i != root) return true;  // tests of one field
        if (At(i).of_field) alone |= At(i).fields;
    }
    if ((alone & *seen) != 0) return true;
    *seen |= alone;
    for (int i = position; i != -1; i = At(i).next) {
        const Term& term = At(i);
        if (!term.of_field && (term.fields & *seen) != 0) return true;
        *seen |= term.fields;
        if (term.first != -1 && Repeats(term.first, seen)) return true;
    }
    return false;
}

void Formula::Build(const Tree& tree) {
    terms.clear();
    sets.clear();
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
    const int shift = test.directive->shift;
    const uint32_t highest = Ones(BitsOf(field));
    const uint32_t value = test.value << shift;
    const uint32_t last = value | Ones(shift);
    switch (test.relation) {
        case Relation::kEqual:
        case Relation::kNotEqual: {
            const bool equal = (test.relation == Relation::kEqual) != negated;
            const uint32_t mask = test.mask << shift & highest;
            if (mask == 0) return AddConstant(equal);
            Term term = {.field = field, .cube = {}};
            SetCube(&term, equal ? Term::kCube : Term::kNotCube, value & mask, mask);
            return Add(term);
        }
        case Relation::kLess:
        case Relation::kGreaterOrEqual: {
            const bool less = (test.relation == Relation::kLess) != negated;
            if (value == 0) return AddConstant(!less);
            return AddSpan(field, less ? Span{0, value - 1} : Span{value, highest});
        }
        case Relation::kLessOrEqual:
        case Relation::kGreater: {
            const bool less = (test.relation == Relation::kLessOrEqual) != negated;
            if (last == highest) return AddConstant(less);
            return AddSpan(field, less ? Span{0, last} : Span{last + 1, highest});
        }
    }
    return AddConstant(false);
}

int Formula::AddSpan(FieldId field, Span span) {
    Term term = {.field = field, .cube = {}};
    SetNumbers(&term, {span});
    return Add(term);
}

/// Makes a term a test of its field alone.
void Formula::SetCube(Term* term, Term::Kind kind, uint32_t value, uint32_t mask) {
    term->kind = kind;
    term->of_field = true;
    term->fields = BitOf(term->field);
    term->value = value;
    term->mask = mask;
    term->cube = FieldCube(term->field, value, mask);
    Straighten(term);
}

/// Makes a term pass these numbers of its field: the simplest term that does.
void Formula::SetNumbers(Term* term, Numbers numbers) {
    const int bits = BitsOf(term->field);
    const Numbers others = Complement(numbers, bits);
    uint32_t value = 0;
    uint32_t mask = 0;
    if (numbers.empty() || others.empty()) {
        term->kind = others.empty() ? Term::kAll : Term::kNothing;
        term->of_field = false;
    } else if (AreTernary(numbers, bits, &value, &mask)) {
        SetCube(term, Term::kCube, value, mask);
    } else if (AreTernary(others, bits, &value, &mask)) {
        SetCube(term, Term::kNotCube, value, mask);
    } else {
        term->kind = Term::kNumbers;
        term->of_field = true;
        term->fields = BitOf(term->field);
        if (term->numbers == -1) {
            term->numbers = static_cast<int>(sets.size());
            sets.emplace_back();
        }
        sets[static_cast<size_t>(term->numbers)] = std::move(numbers);
    }
}

/// The numbers that pass a term about one field; false when they would be many spans.
bool Formula::Passing(const Term& term, Numbers* numbers) const {
    if (term.kind == Term::kNumbers) {
        *numbers = NumbersOf(term);
        return true;
    }
    const int bits = BitsOf(term.field);
    if (!TernaryNumbers(term.value, term.mask, bits, numbers)) return false;
    if (term.kind == Term::kNotCube) *numbers = Complement(*numbers, bits);
    return true;
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
    if (!joined && other.cube.IsWithin(one->cube)) return true;
    if (!joined && one->cube.IsWithin(other.cube)) {
        *one = other;
        return true;
    }
    if (joined && one->cube.Conflicts(other.cube)) {
        one->kind = operation == Term::kAnd ? Term::kNothing : Term::kAll;
    } else if (joined) {
        one->cube = one->cube.And(other.cube);
        one->fields |= other.fields;
        one->value |= other.value;
        one->mask |= other.mask;
    } else if (one->cube.Merge(other.cube, &one->cube)) {
        one->mask &= ~(one->value ^ other.value);
        one->value &= one->mask;
    } else {
        return false;
    }
    one->of_field = IsOneField(*one, other) && one->kind == other.kind;
    Straighten(one);
    return true;
}

}  // namespace

/// Makes one of two operands what both are; false where that is no single term.
bool Formula::Merge(Term* one, const Term& other, Term::Kind kind) {
    const bool cubes = IsCube(*one) && one->kind == other.kind;
    if (cubes && MergeCubes(one, other, kind)) return true;
    if (!IsOneField(*one, other)) return false;
    // Two tests alone are as short as their numbers.
    const auto is_like_them = [&](int i) { return IsOneField(At(i), other); };
    if (cubes && std::ranges::count_if(operands, is_like_them) == 2) return false;
    Numbers these;
    Numbers those;
    if (!Passing(*one, &these) || !Passing(other, &those)) return false;
    const int bits = BitsOf(one->field);
    SetNumbers(one,
               kind == Term::kOr
                   ? Union(these, those)
                   : Complement(Union(Complement(these, bits), Complement(those, bits)), bits));
    return true;
}

/// Merges the first pair of operands that can be; false when there is none.
bool Formula::MergePair(Term::Kind kind) {
    constexpr size_t kMostCompared = 64;
    const size_t count = std::min(operands.size(), kMostCompared);
    for (size_t i = 0; i < count; ++i) {
        Term& one = terms[static_cast<size_t>(operands[i])];
        for (size_t j = i + 1; j < count; ++j) {
            const Term& other = terms[static_cast<size_t>(operands[j])];
            if (!Merge(&one, other, kind)) continue;
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
