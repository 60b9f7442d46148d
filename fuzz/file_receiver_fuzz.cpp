/// The simulated agent's file receiver: two transfer records in a row, whatever they hold. The
/// first bytes of each are the input's, the rest of it is zero, as in an honest record.
#include <algorithm>
#include <cstring>

#include "simulator/file_receiver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    zmsim::FileReceiver receiver({});
    for (size_t half : {size / 2, size - size / 2}) {
        FileTransferRecord record = {};
        std::memcpy(&record, input, std::min(half, sizeof(record)));
        if (half > 40) std::memcpy(&record.file_size, input + 13, sizeof(record.file_size));
        record.file_name[0] = 'f';
        input += half;
        const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
        (void)receiver.Take({bytes, sizeof(record)});
        (void)receiver.TakeFinished();
    }
    return 0;
}
