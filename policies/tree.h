/// A filter expression as it was written: the parser's result.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace zwmgmt::policy {

/// A member of PolicyFields.
enum class FieldId : uint8_t {
    kSourceAddress,
    kDestinationAddress,
    kSourcePort,
    kDestinationPort,
    kVlan,
    kTos,
    kVersion,
    kOpen,
    kMark,
};

inline constexpr int kFieldCount = static_cast<int>(FieldId::kMark) + 1;

enum class Relation : uint8_t { kEqual, kNotEqual, kLess, kLessOrEqual, kGreater, kGreaterOrEqual };

enum class Side : uint8_t { kNone, kSource, kDestination, kEither, kBoth };

/// What follows a directive's word.
enum class Operand : uint8_t { kNothing, kNumber, kHost, kNet };

/// A word that begins a test.
struct Directive {
    std::string_view word;
    Operand operand;
    FieldId field;  // of a directive with sides: the source's; the destination's is the next
    bool has_sides;
    int bits;            // of the number
    int shift;           // where its lowest bit lies in the field
    uint32_t value = 0;  // of one without operand
};

inline constexpr Directive kDirectives[] = {
    {"host", Operand::kHost, FieldId::kSourceAddress, true, 32, 0},
    {"net", Operand::kNet, FieldId::kSourceAddress, true, 32, 0},
    {"port", Operand::kNumber, FieldId::kSourcePort, true, 16, 0},
    {"vlan", Operand::kNumber, FieldId::kVlan, false, 12, 0},
    {"tos", Operand::kNumber, FieldId::kTos, false, 8, 0},
    {"dscp", Operand::kNumber, FieldId::kTos, false, 6, 2},
    {"vers", Operand::kNumber, FieldId::kVersion, false, 4, 0},
    {"mark", Operand::kNumber, FieldId::kMark, false, 32, 0},
    {"listen", Operand::kNothing, FieldId::kOpen, false, 2, 0, 1},
    {"aopen", Operand::kNothing, FieldId::kOpen, false, 2, 0, 2},
    {"popen", Operand::kNothing, FieldId::kOpen, false, 2, 0, 3},
};

/// A number of so many one bits.
constexpr uint32_t Ones(int bits) { return bits >= 32 ? UINT32_MAX : (1u << bits) - 1; }

struct Test {
    const Directive* directive = nullptr;
    Side side = Side::kNone;
    Relation relation = Relation::kEqual;
    uint32_t value = 0;
    uint32_t mask = 0;  // all ones but for equality under a mask
};

struct Node {
    enum Kind : uint8_t { kAny, kNone, kTest, kNot, kAnd, kOr, kChoice };
    Kind kind = kAny;
    int first = -1;  // operands: positions in the tree
    int second = -1;
    int third = -1;  // kChoice: first ? second : third
    Test test;
};

/// Operands come before what they belong to; the last node is the whole.
using Tree = std::vector<Node>;

}  // namespace zwmgmt::policy
