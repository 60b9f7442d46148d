/// Reading requests.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "zwmgmt/fixed_text.h"

namespace zwmgmt::agent {

/// The record that a request's data is; false when it has another size.
template <class Record>
bool Unpack(std::span<const uint8_t> data, Record* record) {
    if (data.size() != sizeof(*record)) return false;
    std::memcpy(record, data.data(), sizeof(*record));
    return true;
}

inline std::string_view TextIn(std::span<const uint8_t> data) {
    return FixedText(data.data(), data.size());
}

/// Whether the request leaves the host as it is.
bool IsQuestion(uint8_t service, uint16_t opcode);

/// The name in a request that loads a driver, in either of its forms. False when the record says in
/// other words than a number or "NONE" how many virtual functions there shall be.
bool DriverNameIn(std::span<const uint8_t> data, uint8_t os_type, std::string_view* name);

/// The name of the driver that a package brings: what stands before the first "-" or ".".
std::string_view DriverNameOf(std::string_view package);

/// Whether the name stays in the folder that it is put into and gives its driver a name.
bool IsPackageName(std::string_view name);

}  // namespace zwmgmt::agent
