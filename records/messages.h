/// What every message carries: one row a message. Dry runs, traces and the dissector read the same
/// rows.
#pragma once

#include <cstdint>
#include <span>

#include "records/field.h"

namespace zwmgmt {

struct RecordPart;

/// A record as it travels: without the link to the next one.
struct RecordForm {
    static constexpr size_t kNoPresent = SIZE_MAX;

    const char* name;
    size_t size;
    std::span<const Field> fields;
    std::span<const RecordPart> parts = {};
    size_t present = kNoPresent;  // offset of the bits that say which fields were given
};

/// A record in a record, or several, back to back.
struct RecordPart {
    const char* name;
    size_t offset;
    const RecordForm* form;
    size_t count = 1;
    uint32_t bit = 0;  // as a field's
};

/// The data of a message.
struct Payload {
    enum Form : uint8_t {
        kNothing,
        kText,    // without a terminator
        kTexts,   // terminated, back to back
        kRecord,  // one
        kRun,     // records, back to back
        kList,    // the same; 0xFF where a record would begin ends it
    };

    Form form = kNothing;
    const RecordForm* record = nullptr;
};

struct MessageForm {
    uint8_t service;
    uint16_t opcode;
    const char* name;  // service, command and sub-command
    bool changes;      // something on the host
    Payload request;
    Payload reply;
    uint8_t os_type = 0;  // of agents of this OS; 0: of all others

    /// The name without that of the service.
    const char* Command() const;
};

/// The header of every message.
extern const RecordForm kHeaderForm;

std::span<const MessageForm> MessageForms();

/// Null for a message that this version does not know.
const MessageForm* FindMessageForm(uint8_t service, uint16_t opcode, uint8_t os_type);

}  // namespace zwmgmt
