/// Pushing files: the announcement, then one chunk after the other, each acknowledged before the
/// next is read from disk. Memory does not grow with the file.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/file.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

enum Outcome : int { kDone = 0, kStopped = 1, kNoMemory = 2 };

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

/// Why an agent refuses an announced file.
struct RefusalRow {
    uint32_t status;
    const char* text;
};

constexpr RefusalRow kRefusals[] = {
    {75, "Pre-Requisites for installating driver failed\n"},
    {314, "ZM Update failed as  architecture is different\n"},
    {315, "ZM Update failed as higher/equal  version is already installed\n"},
};

const char* BaseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

/// A transfer message as it travels: header and record in one piece, so that neither is copied
/// again for every chunk.
#pragma pack(push, 1)
struct TransferMessage {
    uint8_t header[kHeaderSize];
    FileTransferRecord record;
};
#pragma pack(pop)

static_assert(sizeof(TransferMessage) == 26 + 16'695);

struct FreeMessage {
    void operator()(TransferMessage* message) const { std::free(message); }
};
using OwnedMessage = std::unique_ptr<TransferMessage, FreeMessage>;

/// An empty record behind its header; null without memory.
OwnedMessage NewTransferMessage() {
    OwnedMessage message(static_cast<TransferMessage*>(std::calloc(1, sizeof(TransferMessage))));
    if (!message) return message;
    _Message header = {};
    header.service = kSystem;
    header.opcode = kInstall;
    header.data_length = sizeof(FileTransferRecord);
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

}  // namespace

int ZwMgmt_interface::SendFile(const FileTransfer& transfer, char* result_buffer) {
    if (transfer.path == nullptr || result_buffer == nullptr) return kStopped;
    if (!connected) {
        ReportStatus(kNotConnected);
        return kStopped;
    }
    current_service = kSystem;
    current_command = kInstall;
    status = kSuccess;
    _Message message = {};
    uint16_t chunk_count = 0;
    const int announced =
        transfer.tool_file
            ? CLsend_Kxgbtool_InitialMsg(transfer.path, &message, &chunk_count, result_buffer)
            : CLsendInitialMsg(transfer.path, &message, transfer.arg1, transfer.flags,
                               result_buffer, transfer.arg2, transfer.arg3, transfer.extra,
                               &chunk_count);
    if (announced != kDone) return announced;
    return transfer.tool_file
               ? CLsendKxgbtoolFile(transfer.path, &message, chunk_count, result_buffer)
               : CLsendDrvFile(transfer.path, &message, chunk_count, result_buffer);
}

int ZwMgmt_interface::CLsendInitialMsg(const char* path, _Message* message, uint8_t arg1,
                                       uint32_t flags, char* result_buffer, uint8_t arg2,
                                       uint8_t arg3, const char* extra, uint16_t* chunk_count) {
    platform::FileStatus file;
    if (!platform::GetFileStatus(path, &file)) {
        PrintOutput("cannot stat the file %s\n", path);
        return kStopped;
    }
    if (!file.regular) {
        PrintOutput("cannot send %s: it is not a regular file\n", path);
        return kStopped;
    }
    const auto size = static_cast<long long>(file.size);
    const uint64_t chunks = (file.size + kChunkSize - 1) / kChunkSize;
    if (chunks > kMostChunks) {
        PrintOutput("cannot send %s: its size of %lld bytes is above the limit of %lld bytes\n",
                    path, size, static_cast<long long>(kMostChunks) * kChunkSize);
        return kStopped;
    }
    PrintOutput("Sending File %s of size %lld to the ZM agent...\n", BaseName(path), size);
    if (message == nullptr) return kNoMemory;
    const OwnedMessage announcement = NewTransferMessage();
    if (!announcement) return kNoMemory;
    FileTransferRecord& record = announcement->record;
    *chunk_count = static_cast<uint16_t>(chunks);
    record.chunk_count = *chunk_count;
    record.transfer_flags = flags;
    record.transfer_arg1 = arg1;
    record.transfer_arg2 = arg2;
    record.transfer_arg3 = arg3;
    record.file_size = file.size;
    SetFixedText(record.file_name, BaseName(path));
    SetExtra(&record, flags, extra);

    bool sent = false;
    const uint32_t exchanged =
        CLTalkToServerForDrv(announcement.get(), result_buffer, message, &sent);
    if (!sent) {
        LoseConnection(exchanged);
        return kStopped;
    }
    if (exchanged != kSuccess) {
        // The transfer goes on as if the agent had agreed, on purpose; but its answer may still
        // come and be taken for the next one, so the session ends with the transfer.
        LoseConnection(exchanged);
        return kDone;
    }
    status = message->status;
    for (const RefusalRow& row : kRefusals) {
        if (row.status == message->status) PrintOutput("%s", row.text);
    }
    return message->status == kSuccess ? kDone : kStopped;
}

uint32_t ZwMgmt_interface::SendTransfer(const void* transfer_message, bool* header_sent) {
    constexpr uint32_t kLength = sizeof(TransferMessage);
    const uint32_t sent = CLSendData(static_cast<const uint8_t*>(transfer_message), kLength, false);
    *header_sent = sent >= header_size;
    if (sent == kLength) return kSuccess;
    return *header_sent && status == kSendTimeout ? kSendTimeout : kWriteError;
}

int ZwMgmt_interface::CLsendDrvFile(const char* path, _Message* message, uint16_t chunk_count,
                                    char* result_buffer) {
    *message = {};
    const OwnedMessage chunk = NewTransferMessage();
    const File file(std::fopen(path, "rb"));
    if (!chunk || !file) return kStopped;
    std::setvbuf(file.get(), nullptr, _IONBF, 0);  // chunks go straight into the record
    std::memset(result_buffer, 0, kResultBufferSize);
    FileTransferRecord& record = chunk->record;
    for (uint32_t number = 1;; ++number) {
        const size_t length = std::fread(record.chunk_data, 1, kChunkSize, file.get());
        const bool at_end = length == 0;
        if (std::ferror(file.get()) || at_end != (number > chunk_count)) {
            PrintOutput("\ncannot send %s: it changed or became unreadable\n", path);
            LoseConnection(kReadError);  // the agent still waits for what was announced
            return kStopped;
        }
        if (at_end) break;
        std::memset(record.chunk_data + length, 0, kChunkSize - length);
        record.chunk_number = static_cast<uint16_t>(number);
        record.chunk_length = static_cast<uint16_t>(length);

        bool header_sent = false;
        const uint32_t sent = SendTransfer(chunk.get(), &header_sent);
        if (header_sent && sent != kSuccess) {
            LoseConnection(sent);
            break;  // as finished, on purpose: LastStatus tells
        }
        if (sent == kSuccess) {
            PrintOutput("Completion Progress %% (%02d%%) .... \r",
                        static_cast<int>(100 * number / chunk_count));
            FlushOutput();
        }
        const uint32_t received = ReceiveReply(message);
        last_reply_header = *message;
        if (received != kSuccess) {
            LoseConnection(received);
            return kStopped;
        }
        status = message->status;
        if (status != kSuccess) return kStopped;
    }
    PrintOutput("\n");
    return kDone;
}

int ZwMgmt_interface::CLsend_Kxgbtool_InitialMsg(const char* path, _Message* message,
                                                 uint16_t* chunk_count, char* result_buffer) {
    return CLsendInitialMsg(path, message, 0, 0, result_buffer, 0, 0, nullptr, chunk_count);
}

int ZwMgmt_interface::CLsendKxgbtoolFile(const char* path, _Message* message, uint16_t chunk_count,
                                         char* result_buffer) {
    return CLsendDrvFile(path, message, chunk_count, result_buffer);
}

uint32_t ZwMgmt_interface::CLTalkToServerForDrv(const void* transfer_message, char* result_buffer,
                                                _Message* reply, bool* sent) {
    bool header_sent = false;
    const uint32_t outcome = SendTransfer(transfer_message, &header_sent);
    *sent = outcome == kSuccess;
    return *sent ? ReceiveHeader(result_buffer, reply) : outcome;
}
