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

/// Makes the message carry an empty transfer record, which it owns; null without memory.
FileTransferRecord* StartMessage(_Message* message) {
    *message = {};
    auto* record = static_cast<FileTransferRecord*>(std::calloc(1, sizeof(FileTransferRecord)));
    if (record == nullptr) return nullptr;
    message->service = kSystem;
    message->opcode = kInstall;
    message->data_length = sizeof(*record);
    message->data = record;
    return record;
}

void FreeData(_Message* message) {
    std::free(message->data);
    message->data = nullptr;
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
    FileTransferRecord* record = StartMessage(message);
    if (record == nullptr) return kNoMemory;
    *chunk_count = static_cast<uint16_t>(chunks);
    record->chunk_count = *chunk_count;
    record->transfer_flags = flags;
    record->transfer_arg1 = arg1;
    record->transfer_arg2 = arg2;
    record->transfer_arg3 = arg3;
    record->file_size = file.size;
    SetFixedText(record->file_name, BaseName(path));
    SetExtra(record, flags, extra);

    const uint32_t sent = SendMessage(*message);
    FreeData(message);
    if (sent != kSuccess) {
        LoseConnection(sent);
        return kStopped;
    }
    const uint32_t received = ReceiveHeader(result_buffer, message);
    if (received != kSuccess) {
        // The transfer goes on as if the agent had agreed, on purpose; but its answer may still
        // come and be taken for the next one, so the session ends with the transfer.
        LoseConnection(received);
        return kDone;
    }
    status = message->status;
    for (const RefusalRow& row : kRefusals) {
        if (row.status == message->status) PrintOutput("%s", row.text);
    }
    return message->status == kSuccess ? kDone : kStopped;
}

int ZwMgmt_interface::CLsendDrvFile(const char* path, _Message* message, uint16_t chunk_count,
                                    char* result_buffer) {
    FileTransferRecord* record = StartMessage(message);
    if (record == nullptr) return kStopped;
    const int outcome = SendChunks(path, message, record, chunk_count, result_buffer);
    FreeData(message);
    return outcome;
}

int ZwMgmt_interface::SendChunks(const char* path, _Message* message, FileTransferRecord* record,
                                 uint16_t chunk_count, char* result_buffer) {
    const File file(std::fopen(path, "rb"));
    if (!file) return kStopped;
    std::setvbuf(file.get(), nullptr, _IONBF, 0);  // chunks go straight into the record
    std::memset(result_buffer, 0, kResultBufferSize);
    for (uint16_t number = 1;; ++number) {
        const size_t length = std::fread(record->chunk_data, 1, kChunkSize, file.get());
        const bool at_end = length == 0;
        if (std::ferror(file.get()) || at_end != (number > chunk_count)) {
            PrintOutput("\ncannot send %s: it changed or became unreadable\n", path);
            LoseConnection(kReadError);  // the agent still waits for what was announced
            return kStopped;
        }
        if (at_end) break;
        std::memset(record->chunk_data + length, 0, kChunkSize - length);
        record->chunk_number = number;
        record->chunk_length = static_cast<uint16_t>(length);

        const uint32_t header_sent = SendHeader(*message);
        const uint32_t data_sent = header_sent == kSuccess ? SendBody(*message) : header_sent;
        if (header_sent == kSuccess && data_sent != kSuccess) {
            LoseConnection(data_sent);
            break;  // as finished, on purpose: LastStatus tells
        }
        if (header_sent == kSuccess) {
            PrintOutput("Completion Progress %% (%02d%%) .... \r", 100 * number / chunk_count);
            FlushOutput();
        }
        last_reply_header = {};
        const uint32_t received = ReceiveReply(&last_reply_header);
        if (received != kSuccess) {
            LoseConnection(received);
            return kStopped;
        }
        status = last_reply_header.status;
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

uint32_t ZwMgmt_interface::CLTalkToServerForDrv(_Message* message, char* result_buffer) {
    current_service = message->service;
    current_command = message->opcode;
    return Client_TalkToServer(message, result_buffer, 0, 0, 0, agent_word_size, nullptr);
}
