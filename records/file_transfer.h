/// The announcement of a file, or a chunk of one.
#pragma once

#include "records/field.h"
#include "zwmgmt/records/file_transfer.h"

namespace zwmgmt {

inline constexpr Field kFileTransferFields[] = {
    ZWMGMT_FIELD(FileTransferRecord, chunk_number),
    ZWMGMT_FIELD(FileTransferRecord, chunk_count),
    ZWMGMT_FIELD(FileTransferRecord, transfer_flags, kBitsSense),
    ZWMGMT_FIELD(FileTransferRecord, transfer_arg1),
    ZWMGMT_FIELD(FileTransferRecord, transfer_arg2),
    ZWMGMT_FIELD(FileTransferRecord, transfer_arg3),
    ZWMGMT_FIELD(FileTransferRecord, chunk_data, kBytesSense),
    ZWMGMT_FIELD(FileTransferRecord, file_size, Plain("bytes")),
    ZWMGMT_FIELD(FileTransferRecord, chunk_length, Plain("bytes")),
    ZWMGMT_FIELD(FileTransferRecord, file_name),
    ZWMGMT_FIELD(FileTransferRecord, extra, kBytesSense),
};

}  // namespace zwmgmt
