/// An agent's reply, header and data, through list builder and printer of every routed command, as
/// every agent OS. Input: one byte that picks the OS, one the word size, a header, the data.
#include <cstdlib>
#include <cstring>

#include "cli/list_kinds.h"
#include "cli/routes.h"
#include "fuzz/sessions.h"

namespace {

using namespace zwmgmt;

void PrintReply(ZwMgmt_interface& session, const Route& route, _Message* message,
                uint32_t word_size, const uint8_t* data, uint32_t length) {
    void* output = nullptr;
    if (message->status == kSuccess && length > 0) {
        const bool list = route.reply == ReplyShape::kList;
        const ListKind* kind = list ? FindListKind(route.command) : nullptr;
        if (kind != nullptr) {
            ZwMgmt_interface::CLBuildList(&output, data, kind->record_size(), kind->node_size,
                                          kind->pointer_count(), word_size, length);
        } else {
            output = std::malloc(length);
            std::memcpy(output, data, length);
        }
    }
    session.CLPrint(output, route.command, message);
    ZwMgmt_interface::CLFreeMem(route.command, output);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    static const auto sessions = Sessions();
    constexpr uint32_t kWordSizes[] = {4, 8, 16};
    if (size < 2 + kHeaderSize) return 0;
    ZwMgmt_interface& session = *sessions[input[0] % sessions.size()];
    const uint32_t word_size = kWordSizes[input[1] % 3];
    _Message header = {};
    std::memcpy(&header, input + 2, kHeaderSize);
    const uint8_t* data = input + 2 + kHeaderSize;
    const auto length = static_cast<uint32_t>(size - 2 - kHeaderSize);
    header.data_length = length;
    for (int command = 0; command < kFirstUnusedCommand; ++command) {
        const Route* route = FindRoute(command);
        if (route == nullptr) continue;
        _Message message = header;
        PrintReply(session, *route, &message, word_size, data, length);
    }
    return 0;
}
