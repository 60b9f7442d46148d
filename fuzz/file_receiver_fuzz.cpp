/// The agent's file receiver: a run of transfer records, eight bytes of input each.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "agent/file_receiver.h"
#include "fuzz/sessions.h"

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

/// Never gets more than was announced, and all of it before the end.
struct FileHost : NamelessHost {
    using NamelessHost::NamelessHost;
    struct Sink : zwmgmt::agent::FileSink {
        explicit Sink(uint64_t size) : left(size) {}
        uint32_t Take(std::span<const uint8_t> piece) override {
            if (piece.size() > left || piece.size() > zwmgmt::kChunkSize) std::abort();
            left -= piece.size();
            return 0;
        }
        uint32_t Finish() override {
            if (left != 0) std::abort();
            return 0;
        }
        uint64_t left;
    };

    zwmgmt::agent::FileOpening OpenFile(const zwmgmt::agent::FileAnnouncement& file) override {
        return {.status = 0, .sink = std::make_unique<Sink>(file.size)};
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    FileHost host(0);
    zwmgmt::agent::FileReceiver receiver(host);
    for (Seed seed; size >= sizeof(seed); input += sizeof(seed), size -= sizeof(seed)) {
        std::memcpy(&seed, input, sizeof(seed));
        const FileTransferRecord record = RecordOf(seed);
        const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
        (void)receiver.Take({bytes, sizeof(record)});
    }
    (void)receiver.Take({input, size});
    return 0;
}
