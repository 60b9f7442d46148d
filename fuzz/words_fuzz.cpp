/// The front end's words, one a line, and every vocabulary look-up with them.
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    std::istringstream text(std::string(reinterpret_cast<const char*>(input), size));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    std::vector<const char*> words;
    for (const std::string& line : lines) words.push_back(line.c_str());

    zwmgmt::CommandWords command(words.data(), words.size());
    const Client_Request_Message* request = command.Request();
    if ((request == nullptr) != (command.Error()[0] != '\0')) std::abort();
    if (request != nullptr && request->argument_count > words.size()) std::abort();
    if (request != nullptr) {
        (void)ZwMgmt_interface::CLGetXENNETCmnd(request);
        (void)ZwMgmt_interface::CLGetESXNETCmnd(request);
    }
    for (const char* word : words) {
        std::vector<char> part(std::string(word).size() + 1);
        (void)ZwMgmt_interface::CLGetKey(word, part.data());
        (void)ZwMgmt_interface::CLGetValue(word, part.data());
        for (uint8_t service = 0; service <= 21; ++service) {
            (void)ZwMgmt_interface::CLGetCommand(word, service);
            (void)ZwMgmt_interface::CLGetSubCommand(word, service, 234);
            (void)ZwMgmt_interface::CLGetKeyNo(word, service);
        }
    }
    return 0;
}
