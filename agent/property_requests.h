/// Reading requests that set properties, by the rows that clients write them with.
#pragma once

#include <functional>
#include <string_view>

#include "commands/arguments.h"
#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/port.h"

namespace zwmgmt::agent {

using TakeProperty = std::function<void(const Argument& property)>;

/// Calls `take` with each property that the request sets, as an agent of this OS reads the bits for
/// an adapter of this chip. False when a bit, or a value that is no zero, belongs to no property
/// that this agent has for it (properties share bits: the values tell which were meant), or when a
/// value is none that the property can have.
bool ForEachProperty(const CardPropertyRequest& request, uint8_t os_type, std::string_view chip,
                     const TakeProperty& take);
bool ForEachProperty(const PortRequest& request, uint8_t os_type, std::string_view chip,
                     const TakeProperty& take);

/// Digits and nothing behind them but zeroes, in the whole field.
bool IsDecimal(const char* bytes, size_t width, int64_t* number);

}  // namespace zwmgmt::agent
