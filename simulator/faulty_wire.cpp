#include "simulator/faulty_wire.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "agent/options.h"
#include "agent/requests.h"
#include "zwmgmt/message.h"
#include "zwmgmt/records/file_transfer.h"

namespace zmsim {
namespace {

namespace tls = zwmgmt::tls;

/// The number of the chunk that the data of a request is; 0 for any other data.
uint32_t ChunkIn(std::span<const uint8_t> data) {
    FileTransferRecord record = {};
    return agent::Unpack(data, &record) ? record.chunk_number : uint32_t{0};
}

}  // namespace

bool FaultyWire::Read(std::span<uint8_t> buffer, agent::Clock::time_point deadline) {
    const size_t left = faults.cut_after_reading ? *faults.cut_after_reading - read : SIZE_MAX;
    buffer = buffer.first(std::min(buffer.size(), left));
    if (!wire->Read(buffer, deadline)) return false;
    read += buffer.size();
    if (read == faults.cut_after_reading) return false;
    const bool stalls = faults.stall_at_chunk != 0 && faults.stall_at_chunk == ChunkIn(buffer);
    return !stalls || Stall();
}

bool FaultyWire::Write(std::span<const uint8_t> message) {
    if (faults.delay.count() != 0) wire->Pause(faults.delay);
    if (faults.housekeeping && !KeepHouse()) return false;
    std::vector<uint8_t> bytes(message.begin(), message.end());
    if (faults.announced_length && bytes.size() > zwmgmt::kHeaderSize) {
        std::memcpy(&bytes[offsetof(_Message, data_length)], &*faults.announced_length,
                    sizeof(*faults.announced_length));
    }
    for (size_t sent = 0; sent < bytes.size();) {
        if (written == faults.cut_after) return false;
        if (written == faults.stall_after) return Stall();
        const size_t length = Allowed(sent, bytes.size() - sent);
        if (!wire->Write(std::span(bytes).subspan(sent, length))) return false;
        written += length;
        sent += length;
    }
    return true;
}

/// Without a goodbye the connection just breaks off.
void FaultyWire::End() {
    const bool cut = written == faults.cut_after || read == faults.cut_after_reading;
    if (!cut || faults.goodbye) wire->End();
}

/// How much of a message may go next.
size_t FaultyWire::Allowed(size_t sent, size_t length) const {
    const auto most = [&](size_t limit) { length = std::min(length, limit); };
    if (faults.record_size != 0) most(faults.record_size);
    if (faults.split_replies && sent < zwmgmt::kHeaderSize) most(zwmgmt::kHeaderSize - sent);
    if (faults.cut_after) most(*faults.cut_after - written);
    if (faults.stall_after) most(*faults.stall_after - written);
    return length;
}

bool FaultyWire::KeepHouse() {
    constexpr zwmgmt::platform::Milliseconds kLimit{15'000};
    SSL* ssl = wire->Tls();
    const bool begun = SSL_version(ssl) == TLS1_3_VERSION ? SSL_new_session_ticket(ssl) == 1
                                                          : SSL_renegotiate(ssl) == 1;
    return begun && tls::Handshake(ssl, kLimit) == tls::Outcome::kDone;
}

/// Answers nothing any more, until the client goes.
bool FaultyWire::Stall() {
    uint8_t ignored[256];
    while (tls::ReadSome(wire->Tls(), ignored, sizeof(ignored), agent::TimeLimits().idle).outcome ==
           tls::Outcome::kDone) {
    }
    return false;
}

agent::WrapWire WithFaults(const WireFaults& faults) {
    return [faults](std::unique_ptr<agent::TlsWire> wire) {
        return std::make_unique<FaultyWire>(std::move(wire), faults);
    };
}

}  // namespace zmsim
