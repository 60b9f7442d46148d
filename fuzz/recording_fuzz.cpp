/// The simulated agent's recordings.
#include <cstdlib>
#include <string>

#include "simulator/recording.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    zmsim::Recording recording;
    std::string error;
    const std::string_view text(reinterpret_cast<const char*>(input), size);
    if (!recording.Parse(text, &error) && error.empty()) std::abort();
    return 0;
}
