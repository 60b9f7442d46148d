/// Fetching and keeping the agent's capabilities record.
#include <cstring>

#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

int ZwMgmt_interface::CLGetCapabilities(Client_Request_Message* /*request*/, _Message* message) {
    message->service = kSystem;
    message->opcode = kGetCapabilities;
    return 0;
}

bool ZwMgmt_interface::GetCapabilitiesResponse(const void* data, uint32_t length) {
    if (length < sizeof(agent_capabilities)) return false;
    std::memcpy(&agent_capabilities, data, sizeof(agent_capabilities));
    return true;
}

uint32_t ZwMgmt_interface::FetchCapabilities(char* result_buffer) {
    if (!connected) return status = kNotConnected;
    current_service = kSystem;
    current_command = kGetCapabilities;
    _Message message = {};
    CLGetCapabilities(nullptr, &message);
    const uint32_t failed =
        Client_TalkToServer(&message, result_buffer, 0, 0, 0, agent_word_size, nullptr);
    if (failed != kSuccess) return failed;
    if (message.status != kSuccess) return message.status;
    return GetCapabilitiesResponse(result_buffer, message.data_length) ? kSuccess : kReadError;
}
