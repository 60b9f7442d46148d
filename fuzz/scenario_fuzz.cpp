/// The simulated agent's scenario files.
#include <cstdlib>
#include <string>

#include "simulator/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    zmsim::Scenario scenario;
    std::string error;
    const std::string_view json(reinterpret_cast<const char*>(input), size);
    if (!zmsim::ParseScenario(json, &scenario, &error) && error.empty()) std::abort();
    return 0;
}
