/// A text through the policy compiler: what compiles must come back from its own text.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zwmgmt/policy.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    static FILE* nowhere = std::fopen("/dev/null", "w");
    const std::string text(reinterpret_cast<const char*>(input), size);
    ParsePolicy parser(nowhere);
    std::vector<_OfldPolicy> policies;
    std::string error;
    const int failed = parser.ParsePolicyString(text.c_str(), "eth2", &policies, &error);
    if ((failed != 0) != !error.empty()) std::abort();
    for (const _OfldPolicy& policy : policies) {
        std::string rendered;
        std::vector<_OfldPolicy> again;
        if (ParsePolicy::ParsePolicyStructure(policy, &rendered) != 0 ||
            parser.ParsePolicyString(rendered.c_str(), "eth2", &again, &error) != 0 ||
            again.size() != 1 || std::memcmp(&again[0], &policy, sizeof(policy)) != 0) {
            std::abort();
        }
    }
    return 0;
}
