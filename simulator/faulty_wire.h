/// Wrong things that a wire can be told to do, for those who test clients.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "agent/wire.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

/// All counts but those of chunks are bytes of the messages of one session.
struct WireFaults {
    /// Close the connection after sending, or after receiving, this many bytes...
    std::optional<size_t> cut_after = {};
    std::optional<size_t> cut_after_reading = {};
    /// ... with a TLS goodbye before.
    bool goodbye = false;
    /// Send this many bytes, then nothing.
    std::optional<size_t> stall_after = {};
    /// Send nothing once the chunk of this number of a file has come; 0: none.
    uint32_t stall_at_chunk = 0;
    /// TLS records of this many bytes; 0: one a message...
    size_t record_size = 0;
    /// ... or one for the header and one for the data.
    bool split_replies = false;
    /// A new session ticket (TLS 1.3) or a renegotiation before each reply.
    bool housekeeping = false;
    /// Before each reply.
    zwmgmt::platform::Milliseconds delay{0};
    /// data_length of replies with data, whatever follows.
    std::optional<uint32_t> announced_length = {};
};

class FaultyWire : public agent::Wire {
  public:
    FaultyWire(std::unique_ptr<agent::TlsWire> sound_wire, const WireFaults& wire_faults)
        : wire(std::move(sound_wire)), faults(wire_faults) {}

    bool Read(std::span<uint8_t> buffer, agent::Clock::time_point deadline) override;
    bool Write(std::span<const uint8_t> message) override;
    bool Pause(zwmgmt::platform::Milliseconds time) override { return wire->Pause(time); }
    void End() override;

  private:
    size_t Allowed(size_t sent, size_t length) const;
    bool KeepHouse();
    bool Stall();

    std::unique_ptr<agent::TlsWire> wire;
    const WireFaults faults;
    size_t read = 0;
    size_t written = 0;
};

/// The same faults in every session.
agent::WrapWire WithFaults(const WireFaults& faults);

}  // namespace zmsim
