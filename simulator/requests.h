/// Reading requests and making replies.
#pragma once

#include <cstring>
#include <span>
#include <string_view>

#include "simulator/host_model.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"

namespace zmsim {

inline Reply Failed(uint32_t status) { return {.status = status, .data = {}}; }

inline Reply TextReply(std::string_view text) {
    return {.status = zwmgmt::kSuccess, .data = {text.begin(), text.end()}};
}

template <class Record>
Reply RecordReply(const Record& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return {.status = zwmgmt::kSuccess, .data = {bytes, bytes + sizeof(record)}};
}

/// The record that a request's data is; false when it has another size.
template <class Record>
bool Unpack(std::span<const uint8_t> data, Record* record) {
    if (data.size() != sizeof(*record)) return false;
    std::memcpy(record, data.data(), sizeof(*record));
    return true;
}

inline std::string_view TextIn(std::span<const uint8_t> data) {
    return zwmgmt::FixedText(data.data(), data.size());
}

}  // namespace zmsim
