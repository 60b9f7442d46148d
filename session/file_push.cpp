#include "session/file_push.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "zwmgmt/fixed_text.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt {
namespace {

/// A transfer message as it travels: header and record in one piece, so that neither is copied
/// again for every chunk.
#pragma pack(push, 1)
struct TransferMessage {
    uint8_t header[kHeaderSize];
    FileTransferRecord record;
};
#pragma pack(pop)

static_assert(sizeof(TransferMessage) == 26 + 16'695);

using OwnedMessage = std::unique_ptr<TransferMessage, FreeBlock>;

/// An empty record behind its header; null without memory.
OwnedMessage NewTransferMessage() {
    OwnedMessage message(static_cast<TransferMessage*>(std::calloc(1, sizeof(TransferMessage))));
    if (!message) return message;
    const _Message header = TransferHeader();
    std::memcpy(message->header, &header, kHeaderSize);
    return message;
}

void SetExtra(FileTransferRecord* record, uint32_t flags, const char* extra) {
    if (extra == nullptr) return;
    if (flags & kTextExtraFlags) {
        SetFixedText(record->extra, extra);
    } else {
        record->extra[0] = extra[0];
    }
}

class FilePush {
  public:
    FilePush(Exchange& agent, OutgoingFile& outgoing, PushWatcher& told)
        : exchange(agent), file(outgoing), watcher(told) {}

    PushOutcome Announce(const FileTransfer& transfer, char* result_buffer);
    PushOutcome SendChunks(char* result_buffer);
    uint32_t Status() const { return status; }

  private:
    bool ReadChunk(FileTransferRecord* record, uint32_t number, uint64_t left);
    SessionResult Send(const TransferMessage& message, bool* header_sent) {
        return exchange.Send(reinterpret_cast<const uint8_t*>(&message), sizeof(message),
                             header_sent);
    }
    PushOutcome Stop(uint32_t reason) {
        status = exchange.Lose({reason}).status;
        return PushOutcome::kStopped;
    }

    Exchange& exchange;
    OutgoingFile& file;
    PushWatcher& watcher;
    uint32_t status = kSuccess;
};

PushOutcome FilePush::Announce(const FileTransfer& transfer, char* result_buffer) {
    watcher.Announces(file);
    const OwnedMessage announcement = NewTransferMessage();
    if (!announcement) {
        status = kOutOfMemory;
        return PushOutcome::kNoMemory;
    }
    FillAnnouncement(&announcement->record, transfer, file);

    if (exchange.HeardUnasked()) return Stop(kNotConnected);
    bool header_sent = false;
    const SessionResult sent = Send(*announcement, &header_sent);
    watcher.Says(sent.said);
    if (!sent.Succeeded()) return Stop(sent.status);
    _Message answer;
    const SessionResult answered = exchange.ReceiveAnswer(result_buffer, &answer);
    watcher.Says(answered.said);
    if (!answered.Succeeded()) {
        // Without an answer the transfer goes on as if the agent had agreed, on purpose; but the
        // answer may still come and be taken for the next one, so the session ends with it.
        Stop(answered.status);
        return PushOutcome::kDone;
    }
    status = answer.status;
    if (status == kSuccess) return PushOutcome::kDone;
    watcher.Refused(status);
    return PushOutcome::kStopped;
}

/// Reads what comes next; false when it is not what the announcement promised.
bool FilePush::ReadChunk(FileTransferRecord* record, uint32_t number, uint64_t left) {
    const size_t length = file.Read(record->chunk_data, kChunkSize);
    if (length != std::min<uint64_t>(left, kChunkSize)) return false;
    std::memset(record->chunk_data + length, 0, kChunkSize - length);
    record->chunk_number = static_cast<uint16_t>(number);
    record->chunk_length = static_cast<uint16_t>(length);
    return true;
}

PushOutcome FilePush::SendChunks(char* result_buffer) {
    status = kSuccess;
    const OwnedMessage chunk = NewTransferMessage();
    if (!chunk) return Stop(kOutOfMemory);  // the agent still waits for what was announced
    std::memset(result_buffer, 0, kResultBufferSize);
    _Message answer = {};
    uint64_t left = file.Size();
    for (uint32_t number = 1;; ++number) {
        if (!ReadChunk(&chunk->record, number, left)) {
            watcher.Changed(file);
            exchange.detail.Set("%s changed or became unreadable while it was sent", file.Path());
            return Stop(kRequestRefused);  // the agent still waits for what was announced
        }
        if (exchange.HeardUnasked()) {
            watcher.Ends();
            return Stop(kNotConnected);
        }
        const uint32_t length = chunk->record.chunk_length;
        if (length == 0) break;
        left -= length;

        bool header_sent = false;
        const SessionResult sent = Send(*chunk, &header_sent);
        watcher.Says(sent.said);
        if (header_sent && !sent.Succeeded()) {
            Stop(sent.status);
            break;  // as finished, on purpose: the status tells
        }
        if (sent.Succeeded()) watcher.Progressed(100 * number / file.ChunkCount());
        const SessionResult answered = exchange.Receive(&answer);
        watcher.Says(answered.said);
        if (!answered.Succeeded()) return Stop(answered.status);
        if (!sent.Succeeded()) return Stop(sent.status);
        status = answer.status;
        if (status != kSuccess) return PushOutcome::kStopped;
    }
    watcher.Ends();
    return PushOutcome::kDone;
}

}  // namespace

OutgoingFile::OutgoingFile(const char* file_path) : path(file_path) {
    FILE* open_file = nullptr;
    opened = platform::OpenRegularFile(path, &open_file, &size);
    if (opened == platform::OpenResult::kOpened) file.reset(open_file);
}

_Message TransferHeader() {
    _Message header = {};
    header.service = kSystem;
    header.opcode = kInstall;
    header.data_length = sizeof(FileTransferRecord);
    return header;
}

void FillAnnouncement(FileTransferRecord* record, const FileTransfer& transfer,
                      const OutgoingFile& file) {
    record->chunk_count = static_cast<uint16_t>(file.ChunkCount());
    record->file_size = file.Size();
    SetFixedText(record->file_name, platform::BaseName(file.Path()));
    if (transfer.tool_file) return;
    record->transfer_flags = transfer.flags;
    record->transfer_arg1 = transfer.arg1;
    record->transfer_arg2 = transfer.arg2;
    record->transfer_arg3 = transfer.arg3;
    SetExtra(record, transfer.flags, transfer.extra);
}

Pushed PushOver(Exchange& exchange, const FileTransfer& transfer, OutgoingFile& file,
                char* result_buffer, PushWatcher& watcher) {
    exchange.SetCommand(kSystem, kInstall);
    FilePush push(exchange, file, watcher);
    const PushOutcome agreed = push.Announce(transfer, result_buffer);
    if (agreed != PushOutcome::kDone) return {agreed, push.Status(), false};
    const uint32_t unanswered = push.Status();
    const PushOutcome outcome = push.SendChunks(result_buffer);
    const bool finished = outcome == PushOutcome::kDone && push.Status() == kSuccess;
    return {outcome, finished ? unanswered : push.Status(), true};
}

}  // namespace zwmgmt
