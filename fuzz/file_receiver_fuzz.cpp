/// The simulated agent's file receiver: a run of transfer records, eight bytes of input each.
#include <algorithm>
#include <cstring>

#include "simulator/file_receiver.h"

namespace {

#pragma pack(push, 1)
struct Seed {
    uint16_t number;
    uint16_t count;
    uint16_t length;
    uint8_t flags;
    uint8_t fill;
};
#pragma pack(pop)

/// Sound where the numbers are, and wrong where they are not.
FileTransferRecord RecordOf(const Seed& seed) {
    FileTransferRecord record = {};
    record.chunk_number = seed.number;
    record.transfer_flags = seed.flags;
    if (seed.number == 0) {
        record.chunk_count = seed.count;
        record.file_size = seed.count * uint64_t{zwmgmt::kChunkSize} - seed.length;
        record.file_name[0] = static_cast<char>(seed.fill);
    } else {
        record.chunk_length = seed.length;
        const size_t filled = std::min<size_t>(seed.length, sizeof(record.chunk_data));
        std::memset(record.chunk_data, seed.fill, filled);
    }
    return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    zmsim::FileReceiver receiver({});
    for (Seed seed; size >= sizeof(seed); input += sizeof(seed), size -= sizeof(seed)) {
        std::memcpy(&seed, input, sizeof(seed));
        const FileTransferRecord record = RecordOf(seed);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
        (void)receiver.Take({bytes, sizeof(record)});
        (void)receiver.TakeFinished();
    }
    (void)receiver.Take({input, size});
    return 0;
}
