/// What the data of a successful reply are: which records, which of their fields which agents fill,
/// and how they lie in the reply.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include "output/layout.h"
#include "records/field.h"

namespace zwmgmt {

/// The cells of replies that are no records of fields: a text a field, "" where there is none.
using Cells = std::deque<std::vector<std::string>>;

/// A field of such a reply; its offset is its place in the row.
consteval Field CellField(const char* name, size_t place, Sense sense = {}) {
    return {name, place, 0, FieldType::kCell, sense};
}

struct Description {
    /// How the records lie in the reply.
    enum Shape : uint8_t {
        kList,     // linked; `size` is where the link is
        kRun,      // back to back, `size` bytes each
        kOne,      // one of `size` bytes
        kDecoded,  // rows of cells, made by `decode`
    };

    const char* name;  // of one record
    Shape shape;
    bool single = false;  // there is one, always
    size_t size = 0;
    std::span<const Field> fields;
    size_t present = kNoPresent;         // offset of the bits that say which fields were given
    std::span<const Block> blocks = {};  // which agents fill which fields; none: all agents all
    uint8_t (*variant_of)(const void* record, uint8_t os) = nullptr;  // of blocks that ask for one
    std::span<const Field* const> columns = {};  // those that matter to people; none: all
    void (*decode)(const void* data, uint32_t length, Cells* rows) = nullptr;
    /// The status that the data mean; null: success.
    uint32_t (*judge)(const void* data, uint32_t length) = nullptr;

    static constexpr size_t kNoPresent = SIZE_MAX;
};

/// The description of the reply to a request of this number, which is that of the message, not of
/// the command; null where a reply is a status alone.
const Description* FindDescription(uint16_t opcode);

/// The same by command: what it can answer with.
const Description* FindDescriptionOf(uint16_t command);

}  // namespace zwmgmt
