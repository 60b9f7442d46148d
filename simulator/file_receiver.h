/// Takes a pushed file: checks announcement, order and lengths of the chunks, keeps no data.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "zwmgmt/records/file_transfer.h"

namespace zmsim {

/// What the agent was told to do with files.
struct FileOrders {
    uint32_t refuse_announcement = 0;  // status to refuse every file with; 0: take them
    uint32_t refuse_chunk = 0;         // number of the chunk to refuse; 0: none
    uint32_t stall_at_chunk = 0;       // number of the chunk that is never answered; 0: none
};

/// A file that has arrived whole.
struct ReceivedFile {
    std::string name;
    uint64_t size;
    uint32_t flags;
    uint8_t args[3];
    std::string extra;
};

class FileReceiver {
  public:
    explicit FileReceiver(const FileOrders& file_orders) : orders(file_orders) {}

    /// The status to answer a transfer record with; nothing when it is not to be answered at all.
    std::optional<uint32_t> Take(std::span<const uint8_t> data);

    /// The file that the last record completed, once.
    std::optional<ReceivedFile> TakeFinished();

  private:
    uint32_t Announce(const FileTransferRecord& record);
    uint32_t TakeChunk(const FileTransferRecord& record);

    FileOrders orders;
    std::optional<ReceivedFile> file;  // announced, not yet whole
    uint32_t chunk_count = 0;
    uint32_t next_chunk = 0;
};

}  // namespace zmsim
