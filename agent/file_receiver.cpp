#include "agent/file_receiver.h"

#include <algorithm>
#include <cstring>

#include "agent/requests.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"

namespace zwmgmt::agent {
namespace {

bool IsZero(const uint8_t* bytes, size_t length) {
    return std::all_of(bytes, bytes + length, [](uint8_t byte) { return byte == 0; });
}

}  // namespace

uint32_t FileReceiver::Take(std::span<const uint8_t> data) {
    FileTransferRecord record = {};
    if (!Unpack(data, &record)) return kInvalidValue;
    return record.chunk_number == 0 ? Announce(record) : TakeChunk(record);
}

uint32_t FileReceiver::Announce(const FileTransferRecord& record) {
    CloseFile(kSuccess);
    const uint64_t size = record.file_size;
    const std::string name(FixedText(record.file_name));
    const bool sound = size / kChunkSize + (size % kChunkSize != 0) == record.chunk_count &&
                       record.chunk_length == 0 && IsZero(record.chunk_data, kChunkSize) &&
                       IsPackageName(name);
    if (!sound) return kInvalidValue;
    FileOpening opening =
        model.OpenFile({name,
                        size,
                        record.transfer_flags,
                        {record.transfer_arg1, record.transfer_arg2, record.transfer_arg3},
                        std::string(FixedText(record.extra))});
    if (opening.status != kSuccess) return opening.status;
    sink = std::move(opening.sink);
    left = size;
    chunk_count = record.chunk_count;
    next_chunk = 1;
    return FinishWhenWhole();
}

uint32_t FileReceiver::TakeChunk(const FileTransferRecord& record) {
    if (next_chunk == 0 || record.chunk_number != next_chunk) return kInvalidValue;
    const uint64_t expected = std::min<uint64_t>(left, kChunkSize);
    // Everything that belongs to the announcement is zero, and so is the rest of the chunk.
    FileTransferRecord bare = record;
    bare.chunk_number = 0;
    bare.chunk_length = 0;
    std::memset(bare.chunk_data, 0, expected);
    if (record.chunk_length != expected ||
        !IsZero(reinterpret_cast<const uint8_t*>(&bare), sizeof(bare))) {
        return kInvalidValue;
    }
    const uint32_t status = sink ? sink->Take({record.chunk_data, expected}) : uint32_t{kSuccess};
    if (status != kSuccess) return CloseFile(status);
    left -= expected;
    ++next_chunk;
    return FinishWhenWhole();
}

uint32_t FileReceiver::FinishWhenWhole() {
    if (next_chunk <= chunk_count) return kSuccess;
    return CloseFile(sink ? sink->Finish() : uint32_t{kSuccess});
}

/// No file is on its way any more.
uint32_t FileReceiver::CloseFile(uint32_t status) {
    sink.reset();
    next_chunk = 0;
    return status;
}

}  // namespace zwmgmt::agent
