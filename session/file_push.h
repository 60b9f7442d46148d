/// Pushing a file: the announcement, then one chunk after the other, each acknowledged before the
/// next is read from disk. Memory does not grow with the file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include "platform/file.h"
#include "session/exchange.h"
#include "zwmgmt/records/file_transfer.h"

namespace zwmgmt {

/// The most bytes that a file to push may have.
inline constexpr uint64_t kLargestFile = uint64_t{kMostChunks} * kChunkSize;

/// A file open for reading, where it can be pushed.
class OutgoingFile {
  public:
    explicit OutgoingFile(const char* file_path);

    platform::OpenResult Opened() const { return opened; }
    bool CanBeSent() const { return file && size <= kLargestFile; }
    const char* Path() const { return path; }
    uint64_t Size() const { return size; }
    uint32_t ChunkCount() const {
        return static_cast<uint32_t>((size + kChunkSize - 1) / kChunkSize);
    }
    size_t Read(void* bytes, size_t length) { return std::fread(bytes, 1, length, file.get()); }

  private:
    struct Close {
        void operator()(FILE* open_file) const { std::fclose(open_file); }
    };

    const char* path;
    uint64_t size = 0;
    std::unique_ptr<FILE, Close> file;
    platform::OpenResult opened;
};

/// Told how a push goes.
class PushWatcher {
  public:
    virtual void Announces(const OutgoingFile& file) = 0;
    virtual void Refused(uint32_t status) = 0;  ///< by the agent, as it was announced
    virtual void Progressed(uint32_t percent) = 0;
    virtual void Changed(const OutgoingFile& file) = 0;  ///< or became unreadable
    virtual void Ends() = 0;                             ///< there is no more progress
    virtual void Says(const char* text) = 0;

  protected:
    ~PushWatcher() = default;
};

enum class PushOutcome : int { kDone = 0, kStopped = 1, kNoMemory = 2 };

/// What became of a push.
struct Pushed {
    PushOutcome outcome;
    uint32_t status;
    bool announced;
};

/// The header of each message of a push.
_Message TransferHeader();

/// Fills an empty record with what announces a file that can be sent.
void FillAnnouncement(FileTransferRecord* record, const FileTransfer& transfer,
                      const OutgoingFile& file);

/// Pushes a file that can be sent.
Pushed PushOver(Exchange& exchange, const FileTransfer& transfer, OutgoingFile& file,
                char* result_buffer, PushWatcher& watcher);

}  // namespace zwmgmt
