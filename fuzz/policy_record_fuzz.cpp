/// A record of any bytes through the renderer and the interpreter.
#include <cstdlib>
#include <cstring>
#include <string>

#include "zwmgmt/policy.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    _OfldPolicy policy = {};
    std::memcpy(&policy, input, size < sizeof(policy) ? size : sizeof(policy));
    std::string text;
    if (ParsePolicy::ParsePolicyStructure(policy, &text) != 0 || text.empty()) std::abort();
    const PolicyFields connection = policy.program[7].value;
    (void)Classifier::Matches(policy.program, 8, connection);
    return 0;
}
