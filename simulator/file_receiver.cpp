#include "simulator/file_receiver.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulator/judge.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/status.h"

namespace zmsim {
namespace {

using zwmgmt::kChunkSize;

constexpr uint32_t kChunkRefused = 70;

bool IsZero(const uint8_t* bytes, size_t length) {
    return std::all_of(bytes, bytes + length, [](uint8_t byte) { return byte == 0; });
}

}  // namespace

std::optional<uint32_t> FileReceiver::Take(std::span<const uint8_t> data) {
    FileTransferRecord record = {};
    if (data.size() != sizeof(record)) return zwmgmt::kInvalidValue;
    std::memcpy(&record, data.data(), sizeof(record));
    const uint16_t number = record.chunk_number;
    if (number == 0) return Announce(record);
    if (number == orders.stall_at_chunk) return std::nullopt;
    if (number == orders.refuse_chunk) return kChunkRefused;
    return TakeChunk(record);
}

uint32_t FileReceiver::Announce(const FileTransferRecord& record) {
    file.reset();
    const uint64_t size = record.file_size;
    const bool sound = size / kChunkSize + (size % kChunkSize != 0) == record.chunk_count &&
                       record.chunk_length == 0 && IsZero(record.chunk_data, kChunkSize) &&
                       IsPackageName(zwmgmt::FixedText(record.file_name));
    if (!sound) return zwmgmt::kInvalidValue;
    if (orders.refuse_announcement != 0) return orders.refuse_announcement;
    file = ReceivedFile{std::string(zwmgmt::FixedText(record.file_name)),
                        size,
                        record.transfer_flags,
                        {record.transfer_arg1, record.transfer_arg2, record.transfer_arg3},
                        std::string(zwmgmt::FixedText(record.extra))};
    chunk_count = record.chunk_count;
    next_chunk = 1;
    return zwmgmt::kSuccess;
}

uint32_t FileReceiver::TakeChunk(const FileTransferRecord& record) {
    if (!file || record.chunk_number != next_chunk || next_chunk > chunk_count) {
        return zwmgmt::kInvalidValue;
    }
    const uint64_t left = file->size - uint64_t{kChunkSize} * (next_chunk - 1);
    const uint64_t expected = std::min<uint64_t>(left, kChunkSize);
    // Everything that belongs to the announcement is zero, and so is the rest of the chunk.
    FileTransferRecord bare = record;
    bare.chunk_number = 0;
    bare.chunk_length = 0;
    std::memset(bare.chunk_data, 0, expected);
    if (record.chunk_length != expected ||
        !IsZero(reinterpret_cast<const uint8_t*>(&bare), sizeof(bare))) {
        return zwmgmt::kInvalidValue;
    }
    ++next_chunk;
    return zwmgmt::kSuccess;
}

std::optional<ReceivedFile> FileReceiver::TakeFinished() {
    if (!file || next_chunk != chunk_count + 1) return std::nullopt;
    return std::exchange(file, std::nullopt);
}

}  // namespace zmsim
