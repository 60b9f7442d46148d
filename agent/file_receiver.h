/// Takes pushed files, one after the other: checks announcement, order and lengths of the chunks
/// and hands the content on as it comes.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "agent/host_model.h"
#include "zwmgmt/records/file_transfer.h"

namespace zwmgmt::agent {

class FileReceiver {
  public:
    /// The model outlives the receiver.
    explicit FileReceiver(HostModel& host_model) : model(host_model) {}

    /// The status to answer a transfer record with.
    uint32_t Take(std::span<const uint8_t> data);

  private:
    uint32_t Announce(const FileTransferRecord& record);
    uint32_t TakeChunk(const FileTransferRecord& record);
    uint32_t FinishWhenWhole();
    uint32_t CloseFile(uint32_t status);

    HostModel& model;
    std::unique_ptr<FileSink> sink;  // may be null while a file comes
    uint64_t left = 0;               // bytes of the file that are still to come
    uint32_t chunk_count = 0;
    uint32_t next_chunk = 0;  // 0: no file is on its way
};

}  // namespace zwmgmt::agent
