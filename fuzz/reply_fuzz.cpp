/// An agent's reply, header and data, through list builder, printer and formats of every routed
/// command, as every agent OS. Input: one byte that picks the OS, one the word size, a header, the
/// data.
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "commands/list_kinds.h"
#include "commands/routes.h"
#include "fuzz/sessions.h"
#include "output/render.h"

namespace {

using namespace zwmgmt;

/// In every format; what is no JSON ends the run.
void Render(const Description& what, uint8_t os, const void* data, uint32_t length) {
    std::string text;
    TextSink sink(&text);
    Records records(what, os, data, length);
    const FieldList fields = FieldsOf(what, os);
    WriteCsv(sink, records, fields);
    WriteTable(sink, what, records, fields, {.width = 80});
    if (what.judge != nullptr) what.judge(data, length);
    text.clear();
    JsonWriter json(sink, false);
    WriteJson(json, what, records, fields);
    if (!nlohmann::json::accept(text)) std::abort();
}

void PrintReply(ZwMgmt_interface& session, const Route& route, _Message* message,
                uint32_t word_size, const uint8_t* data, uint32_t length) {
    void* output = nullptr;
    if (message->status == kSuccess && length > 0) {
        const bool list = route.reply == ReplyShape::kList;
        const auto kind = list ? FindListKind(route.command) : std::nullopt;
        if (kind) {
            ZwMgmt_interface::CLBuildList(&output, data, kind->record_size(), kind->node_size,
                                          kind->pointer_count(), word_size, length);
        } else {
            output = std::malloc(length);
            std::memcpy(output, data, length);
        }
    }
    if (route.records != nullptr && message->status == kSuccess) {
        Render(*route.records, session.OsType(), output, length);
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
