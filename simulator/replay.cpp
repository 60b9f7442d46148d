#include "simulator/replay.h"

#include <cstdio>

#include "zwmgmt/status.h"

namespace zmsim {
namespace {

Answer AnswerFrom(Recording& recording, Kind kind, const agent::Message& request) {
    if (const Answer* answer = recording.Next(kind, request)) return *answer;
    std::fprintf(stderr, "korvane_zmsim: not in the recording: %s, %u bytes of data\n",
                 CommandOf(kind, request.header).c_str(),
                 static_cast<unsigned>(request.data.size()));
    agent::Message reply;
    reply.header.service = request.header.service;
    reply.header.opcode = request.header.opcode;
    reply.header.status = zwmgmt::kNotSupported;
    return reply;
}

}  // namespace

agent::ServeClient ReplayOf(Recording& recording) {
    return [&recording](agent::Wire& wire, agent::Visit&) {
        Converse(wire, [&](Kind kind, const agent::Message& request) {
            return AnswerFrom(recording, kind, request);
        });
    };
}

}  // namespace zmsim
