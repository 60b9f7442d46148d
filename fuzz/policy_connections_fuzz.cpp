/// A connections file: what is wrong is shown, and what is right comes back from its own text.
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "policies/connection.h"

using namespace zwmgmt::policy;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    const std::string text(reinterpret_cast<const char*>(input), size);
    ConnectionLines lines(text);
    while (lines.Next()) {
        if (!lines.Wrong().empty()) {
            if (lines.Marked().mark.empty()) std::abort();
            continue;
        }
        Connection connection = lines.Read();
        (void)Assume(&connection);
        Cube bits;
        std::memcpy(bits.value, &connection.fields, sizeof(connection.fields));
        bits.mask[0] = bits.mask[1] = bits.mask[2] = UINT64_MAX;
        Connection again;
        std::istringstream words(ConnectionText(bits));
        for (std::string word; words >> word;) {
            if (!TakeWord(word, &again).empty()) std::abort();
        }
        if (std::memcmp(&again.fields, &connection.fields, sizeof(again.fields)) != 0) {
            std::abort();
        }
    }
    return 0;
}
