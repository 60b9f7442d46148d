/// Usage: zwmgmt_bare_sessions PORT COUNT
/// As many sessions, one after the other, with agents on 127.0.1.1, 127.0.1.2 and so on: the
/// messages of "korvane listadapterprops" over bare OpenSSL, with one context.
#include <cstring>
#include <string>

#include "benchmarks/bare.h"
#include "zwmgmt/vocabulary.h"

namespace {

using namespace zwmgmt;

void Send(Bare& bare, uint8_t service, uint16_t opcode) {
    std::vector<uint8_t> request(kHeaderSize);
    auto* header = reinterpret_cast<_Message*>(request.data());
    header->service = service;
    header->opcode = opcode;
    bare.Write(request);
}

void Ask(Bare& bare, uint8_t service, uint16_t opcode) {
    Send(bare, service, opcode);
    bare.Read(bare.reply.data(), kHeaderSize);
    uint32_t length = 0;
    std::memcpy(&length, bare.reply.data() + offsetof(_Message, data_length), sizeof(length));
    if (length > bare.reply.size()) Die("the reply");
    bare.Read(bare.reply.data(), length);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) Die("usage: PORT COUNT");
    const auto port = static_cast<uint16_t>(std::stoi(argv[1]));
    SSL_CTX* context = Bare::Context();
    for (int i = 0; i < std::stoi(argv[2]); ++i) {
        const auto host = static_cast<uint32_t>(i / 250 << 8 | (i % 250 + 1));
        Bare bare(context, 0x7F000100u + host, port);
        Ask(bare, kSystem, kGetCapabilities);
        Ask(bare, kKorvane, kListAdapterProps);
        Send(bare, kSession, kLogoutOpcode);
    }
    SSL_CTX_free(context);
    return 0;
}
