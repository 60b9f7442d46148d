/// Sets of a field's numbers, and the shortest list of prefixes that decides one.
#pragma once

#include <cstdint>
#include <vector>

namespace zwmgmt::policy {

/// Numbers from `low` to `high`, both included.
struct Span {
    uint32_t low;
    uint32_t high;
};

/// In order, apart from each other by a number at least.
using Numbers = std::vector<Span>;

Numbers Union(const Numbers& one, const Numbers& other);
Numbers Complement(const Numbers& numbers, int bits);

/// Whether the numbers are those that have a value under a mask.
bool AreTernary(const Numbers& numbers, int bits, uint32_t* value, uint32_t* mask);

/// The numbers that have a value under a mask; false when they would be many spans.
bool TernaryNumbers(uint32_t value, uint32_t mask, int bits, Numbers* numbers);

/// One row of a decision list: the first row that a number is under decides it.
struct Row {
    uint32_t value;
    uint32_t mask;
    bool in;
};

/// The shortest list of prefixes, exceptions before what they are exceptions from, that tells which
/// numbers are in a set; what is under none of the rows is in the set if `rest` says so.
std::vector<Row> ShortestList(const Numbers& numbers, int bits, bool rest);

/// The same of rows that are all for the numbers (`rest` false) or all against them: prefixes, and
/// as long as two of them differ in one bit, one for both. Empty when there would be many.
std::vector<Row> TernaryList(const Numbers& numbers, int bits, bool rest);

}  // namespace zwmgmt::policy
