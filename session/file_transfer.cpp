/// Pushing files: the announcement, then one chunk after the other, each acknowledged before the
/// next is read from disk. Memory does not grow with the file.
#include "session/file_transfer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/file.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

enum Outcome : int { kDone = 0, kStopped = 1, kNoMemory = 2 };

/// Why an agent refuses an announced file.
struct RefusalRow {
    uint32_t status;
    const char* text;
};

constexpr RefusalRow kRefusals[] = {
    {kPrerequisites, "Pre-Requisites for installating driver failed\n"},
    {kOtherArchitecture, "ZM Update failed as  architecture is different\n"},
    {kNotNewer, "ZM Update failed as higher/equal  version is already installed\n"},
};

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

/// Opens the file, or says why it cannot be sent.
bool OpenToSend(ZwMgmt_interface& session, const char* path, FILE** file, uint64_t* size) {
    const auto opened = platform::OpenRegularFile(path, file, size);
    if (opened == platform::OpenResult::kNotThere) {
        session.PrintOutput("cannot stat the file %s\n", path);
        return false;
    }
    if (opened != platform::OpenResult::kOpened) {
        session.PrintOutput("cannot send %s: %s\n", path, platform::WhyNot(opened));
        return false;
    }
    constexpr uint64_t kLimit = uint64_t{kMostChunks} * kChunkSize;
    if (*size <= kLimit) return true;
    session.PrintOutput("cannot send %s: its size of %lld bytes is above the limit of %lld bytes\n",
                        path, static_cast<long long>(*size), static_cast<long long>(kLimit));
    std::fclose(*file);
    return false;
}

}  // namespace

bool zwmgmt::CanBeSent(ZwMgmt_interface& session, const char* path) {
    FILE* file = nullptr;
    uint64_t size = 0;
    if (!OpenToSend(session, path, &file, &size)) return false;
    std::fclose(file);
    return true;
}

const char* zwmgmt::FileRefusalText(uint32_t status) {
    for (const RefusalRow& row : kRefusals) {
        if (row.status == status) return row.text;
    }
    return nullptr;
}

/// A file between its announcement and its end.
struct ZwMgmt_interface::OutgoingFile {
    FILE* file;
    uint64_t size;
    uint32_t chunk_count;
};

int ZwMgmt_interface::SendFile(const FileTransfer& transfer, char* result_buffer) {
    bool announced = false;
    return PushFile(transfer, result_buffer, &announced);
}

int ZwMgmt_interface::PushFile(const FileTransfer& transfer, char* result_buffer, bool* announced) {
    *announced = false;
    if (transfer.path == nullptr || result_buffer == nullptr) return kStopped;
    if (!connected) {
        status = kNotConnected;
        ReportStatus(status);
        return kStopped;
    }
    current_service = kSystem;
    current_command = kInstall;
    status = kSuccess;
    OutgoingFile file = {};
    if (!OpenToSend(*this, transfer.path, &file.file, &file.size)) return kStopped;
    file.chunk_count = static_cast<uint32_t>((file.size + kChunkSize - 1) / kChunkSize);
    _Message message = {};
    int outcome =
        transfer.tool_file
            ? CLsend_Kxgbtool_InitialMsg(transfer.path, &message, file, result_buffer)
            : CLsendInitialMsg(transfer.path, &message, transfer.arg1, transfer.flags,
                               result_buffer, transfer.arg2, transfer.arg3, transfer.extra, file);
    const uint32_t unanswered = outcome == kDone ? status : uint32_t{kSuccess};
    *announced = outcome == kDone;
    if (*announced) {
        outcome = transfer.tool_file
                      ? CLsendKxgbtoolFile(transfer.path, &message, file, result_buffer)
                      : CLsendDrvFile(transfer.path, &message, file, result_buffer);
    }
    if (outcome == kDone && status == kSuccess) status = unanswered;
    std::fclose(file.file);
    return outcome;
}

int ZwMgmt_interface::CLsendInitialMsg(const char* path, _Message* message, uint8_t arg1,
                                       uint32_t flags, char* result_buffer, uint8_t arg2,
                                       uint8_t arg3, const char* extra, const OutgoingFile& file) {
    PrintOutput("Sending File %s of size %lld to the ZM agent...\n", platform::BaseName(path),
                static_cast<long long>(file.size));
    const OwnedMessage announcement = NewTransferMessage();
    if (message == nullptr || !announcement) {
        status = kOutOfMemory;
        return kNoMemory;
    }
    FileTransferRecord& record = announcement->record;
    record.chunk_count = static_cast<uint16_t>(file.chunk_count);
    record.transfer_flags = flags;
    record.transfer_arg1 = arg1;
    record.transfer_arg2 = arg2;
    record.transfer_arg3 = arg3;
    record.file_size = file.size;
    SetFixedText(record.file_name, platform::BaseName(path));
    SetExtra(&record, flags, extra);

    bool sent = false;
    const uint32_t exchanged =
        CLTalkToServerForDrv(announcement.get(), result_buffer, message, &sent);
    if (exchanged != kSuccess) {
        LoseConnection(exchanged);
        // Without an answer the transfer goes on as if the agent had agreed, on purpose; but the
        // answer may still come and be taken for the next one, so the session ends with it.
        return sent ? kDone : kStopped;
    }
    status = message->status;
    if (const char* text = FileRefusalText(message->status)) PrintOutput("%s", text);
    return message->status == kSuccess ? kDone : kStopped;
}

uint32_t ZwMgmt_interface::SendTransfer(const void* transfer_message, bool* header_sent) {
    constexpr uint32_t kLength = sizeof(TransferMessage);
    const uint32_t sent = CLSendData(static_cast<const uint8_t*>(transfer_message), kLength, false);
    *header_sent = sent >= header_size;
    if (sent == kLength) return kSuccess;
    return *header_sent && status == kSendTimeout ? kSendTimeout : kWriteError;
}

int ZwMgmt_interface::CLsendDrvFile(const char* path, _Message* message, const OutgoingFile& file,
                                    char* result_buffer) {
    *message = {};
    status = kSuccess;
    const OwnedMessage chunk = NewTransferMessage();
    if (!chunk) {
        LoseConnection(kOutOfMemory);  // the agent still waits for what was announced
        return kStopped;
    }
    std::memset(result_buffer, 0, kResultBufferSize);
    FileTransferRecord& record = chunk->record;
    uint64_t left = file.size;
    for (uint32_t number = 1;; ++number) {
        const size_t length = std::fread(record.chunk_data, 1, kChunkSize, file.file);
        if (length != std::min<uint64_t>(left, kChunkSize)) {
            PrintOutput("\ncannot send %s: it changed or became unreadable\n", path);
            Explain("%s changed or became unreadable while it was sent", path);
            LoseConnection(kRequestRefused);  // the agent still waits for what was announced
            return kStopped;
        }
        if (HeardUnasked()) {
            PrintOutput("\n");
            return kStopped;
        }
        if (length == 0) break;
        left -= length;
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
                        static_cast<int>(100 * number / file.chunk_count));
            FlushOutput();
        }
        const uint32_t received = ReceiveReply(message);
        last_reply_header = *message;
        if (received != kSuccess || sent != kSuccess) {
            LoseConnection(received != kSuccess ? received : sent);
            return kStopped;
        }
        status = message->status;
        if (status != kSuccess) return kStopped;
    }
    PrintOutput("\n");
    return kDone;
}

int ZwMgmt_interface::CLsend_Kxgbtool_InitialMsg(const char* path, _Message* message,
                                                 const OutgoingFile& file, char* result_buffer) {
    return CLsendInitialMsg(path, message, 0, 0, result_buffer, 0, 0, nullptr, file);
}

int ZwMgmt_interface::CLsendKxgbtoolFile(const char* path, _Message* message,
                                         const OutgoingFile& file, char* result_buffer) {
    return CLsendDrvFile(path, message, file, result_buffer);
}

uint32_t ZwMgmt_interface::CLTalkToServerForDrv(const void* transfer_message, char* result_buffer,
                                                _Message* reply, bool* sent) {
    bool header_sent = false;
    *sent = false;
    if (HeardUnasked()) return kNotConnected;
    const uint32_t outcome = SendTransfer(transfer_message, &header_sent);
    *sent = outcome == kSuccess;
    return *sent ? ReceiveHeader(result_buffer, reply) : outcome;
}
