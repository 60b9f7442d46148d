/// The words of a command line through the handler of their command, as for every agent OS. Input:
/// one byte that picks the OS, then a word a line. What is sent must be what the message says.
#include <cstdlib>
#include <sstream>
#include <string>

#include "commands/routes.h"
#include "fuzz/sessions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    static const auto sessions = Sessions();
    static std::vector<char> result(zwmgmt::kResultBufferSize);
    if (size == 0) return 0;
    ZwMgmt_interface& session = *sessions[input[0] % sessions.size()];
    std::istringstream text(std::string(reinterpret_cast<const char*>(input + 1), size - 1));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    std::vector<const char*> words;
    for (const std::string& line : lines) words.push_back(line.c_str());

    zwmgmt::CommandWords command(words.data(), words.size());
    Client_Request_Message* request = command.Request();
    if (request == nullptr) return 0;
    const zwmgmt::Route* route = zwmgmt::FindRoute(request->service, request->command);
    if (route == nullptr) return 0;
    _Message message = {};
    void* out = nullptr;
    const int refused = route->build(session, request, &message, result.data(), &out);
    if (refused == 0) {
        // Every byte of the data area is read, so that a sanitizer sees one that is not there.
        const auto* data = static_cast<const volatile uint8_t*>(message.data);
        for (uint32_t i = 0; i < message.data_length; ++i) (void)data[i];
    }
    std::free(message.data);
    return 0;
}
