/// The data of a message, field by field, as they travel.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "output/json.h"
#include "records/messages.h"

namespace zwmgmt {

struct ShownField {
    std::string name;  // "mask" of the part "tos": "tos.mask"
    size_t record;     // of several, from 0
    size_t offset;     // in the data
    size_t width;
    bool is_number = false;
    bool is_signed = false;
    int64_t number = 0;        // of a number; 64 bits without sign are these bits
    std::string value = {};    // as it lies there: a number's digits, a text, bytes in hexadecimal
    std::string meaning = {};  // in words, with its unit; empty where the value says all
    bool empty = false;        // all its bytes are 0
};

/// A field's value, as a number or a text.
void WriteValue(JsonWriter& json, const ShownField& field);

/// Bytes as hexadecimal digits.
std::string Hexadecimal(std::span<const uint8_t> bytes);

/// Shows the fields of all records, or the texts; returns how many bytes at the end are none of
/// them: a record that is cut, or what the message should not carry.
size_t ForEachField(const Payload& payload, std::span<const uint8_t> data,
                    const std::function<void(const ShownField&)>& show);

/// The fields of one record.
void ForEachField(const RecordForm& form, std::span<const uint8_t> record,
                  const std::function<void(const ShownField&)>& show);

}  // namespace zwmgmt
