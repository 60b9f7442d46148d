/// Pushing a file to an agent: one record announces it, one carries each chunk; the agent answers
/// each with a status before the next.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zwmgmt {

inline constexpr uint32_t kChunkSize = 16'384;   ///< bytes of all chunks but the last
inline constexpr uint32_t kMostChunks = 65'535;  ///< what chunk_count can hold

/// Bits of FileTransferRecord::transfer_flags that make `extra` a text.
inline constexpr uint32_t kTextExtraFlags = 0x200 | 0x1000;

}  // namespace zwmgmt

#pragma pack(push, 1)

/// The announcement of a file, or one of its chunks; members of the other kind are 0.
struct FileTransferRecord {
    uint16_t chunk_number;  ///< chunk: from 1; announcement: 0
    uint8_t reserved2[2];
    uint16_t chunk_count;                    ///< announcement: chunks that will follow
    uint32_t transfer_flags;                 ///< announcement: what kind of package this is
    uint8_t transfer_arg1;                   ///< announcement: by the kind of package
    uint8_t transfer_arg2;                   ///< announcement: the same
    uint8_t transfer_arg3;                   ///< announcement: the same
    uint8_t chunk_data[zwmgmt::kChunkSize];  ///< chunk: zero-filled after chunk_length
    uint64_t file_size;                      ///< announcement: bytes
    uint16_t chunk_length;                   ///< chunk: valid bytes in chunk_data
    char file_name[256];                     ///< announcement: base name
    char extra[32];  ///< announcement: a text with kTextExtraFlags, otherwise one byte
};

#pragma pack(pop)

static_assert(sizeof(FileTransferRecord) == 16'695 &&
              offsetof(FileTransferRecord, chunk_count) == 4 &&
              offsetof(FileTransferRecord, transfer_flags) == 6 &&
              offsetof(FileTransferRecord, chunk_data) == 13 &&
              offsetof(FileTransferRecord, file_size) == 16'397 &&
              offsetof(FileTransferRecord, chunk_length) == 16'405 &&
              offsetof(FileTransferRecord, file_name) == 16'407 &&
              offsetof(FileTransferRecord, extra) == 16'663);

namespace zwmgmt {

/// A file to push, and what the announcement says of it.
struct FileTransfer {
    const char* path;             ///< of a regular file, in UTF-8; its last part goes to the agent
    uint32_t flags = 0;           ///< FileTransferRecord::transfer_flags
    uint8_t arg1 = 0;             ///< FileTransferRecord::transfer_arg1
    uint8_t arg2 = 0;             ///< FileTransferRecord::transfer_arg2
    uint8_t arg3 = 0;             ///< FileTransferRecord::transfer_arg3
    const char* extra = nullptr;  ///< null, a text of at most 32 bytes, or one byte, by the flags
    bool tool_file = false;       ///< for the adapter tools: neither flags nor extra are sent
};

}  // namespace zwmgmt
