/// Making replies.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/host_model.h"
#include "zwmgmt/status.h"

namespace zwmgmt::agent {

inline Reply Failed(uint32_t status, std::string reason = {}) {
    return {.status = status, .data = {}, .reason = std::move(reason)};
}

inline Reply TextReply(std::string_view text) {
    return {.status = kSuccess, .data = {text.begin(), text.end()}};
}

template <class Record>
Reply RecordReply(const Record& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return {.status = kSuccess, .data = {bytes, bytes + sizeof(record)}};
}

/// Puts a record behind those that a reply has.
template <class Record>
void AppendRecord(const Record& record, Reply* reply) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    reply->data.insert(reply->data.end(), bytes, bytes + sizeof(record));
}

/// Ends a run of records.
inline constexpr uint8_t kEndMark = 0xFF;

/// A run of records as it travels. Their one pointer, the link, stays behind: so the records of
/// agents of every word size are alike.
class RecordRun {
  public:
    template <class Record>
    void Add(const Record& record) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
        data.insert(data.end(), bytes, bytes + offsetof(Record, next));
    }

    Reply Finish() {
        if (!data.empty()) data.push_back(kEndMark);
        return {.status = kSuccess, .data = std::move(data)};
    }

  private:
    std::vector<uint8_t> data;
};

}  // namespace zwmgmt::agent
