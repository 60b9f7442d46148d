/// The value of one field of one record.
#pragma once

#include <cstdint>

#include "records/field.h"
#include "zwmgmt/result.h"

namespace zwmgmt {

/// Room for a value that is put into words; enough for an IPv4 address.
using ValueRoom = char[16];

ResultValue ValueIn(const void* record, const Field& field, ValueRoom& room);

/// What the values of a field mostly are.
ValueType TypeOf(const Field& field);

}  // namespace zwmgmt
