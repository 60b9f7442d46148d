/// Wrong things that the wire half can be told to do, for those who test clients.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zmsim {

/// All counts are bytes of the messages of one session.
struct WireFaults {
    /// Close the connection after sending, or after receiving, this many bytes...
    std::optional<size_t> cut_after = {};
    std::optional<size_t> cut_after_reading = {};
    /// ... with a TLS goodbye before.
    bool goodbye = false;
    /// Send this many bytes, then nothing.
    std::optional<size_t> stall_after = {};
    /// TLS records of this many bytes; 0: one a write.
    size_t record_size = 0;
    /// A new session ticket (TLS 1.3) or a renegotiation before each reply.
    bool housekeeping = false;
    /// data_length of replies with data, whatever follows.
    std::optional<uint32_t> announced_length = {};
};

}  // namespace zmsim
