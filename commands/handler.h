/// What handlers share: the keys of a request, refusing it, and filling its message.
#pragma once

#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "commands/remarks.h"
#include "commands/texts.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

/// The key entries, without the slot of the sub-command word.
inline std::span<const Client_Request_Argument> KeysOf(const Client_Request_Message* request) {
    if (request == nullptr || request->arguments == nullptr || request->argument_count < 2) {
        return {};
    }
    return {request->arguments + 1, request->argument_count - 1};
}

inline std::string_view ValueOf(const Client_Request_Argument& argument) {
    return argument.value != nullptr ? std::string_view(argument.value) : std::string_view();
}

/// Gives the message a data area of its own with these bytes; false without memory.
inline bool AttachData(_Message* message, const void* bytes, size_t length) {
    message->data_length = static_cast<uint32_t>(length);
    if (length == 0) return true;
    message->data = std::malloc(length);
    if (message->data == nullptr) return false;
    std::memcpy(message->data, bytes, length);
    return true;
}

/// Whether the request's first word, in the slot of the sub-command, is this one.
inline bool BeginsWith(const Client_Request_Message* request, std::string_view word) {
    return request->argument_count > 0 && request->arguments != nullptr &&
           SameIgnoringCase(ValueOf(request->arguments[0]), word);
}

/// Fills a field with a text that fits into it; false, with nothing filled, for a longer one.
template <size_t Width>
bool SetWhole(char (&field)[Width], std::string_view text) {
    if (text.size() > Width) return false;
    SetFixedText(field, text);
    return true;
}

/// Says why; the result of a handler that sends nothing.
inline int Refuse(ZwMgmt_interface& session, const char* text) {
    session.PrintOutput("%s", text);
    return kRequestRefused;
}

/// The same for one of the request's entries.
inline int Refuse(ZwMgmt_interface& session, const Client_Request_Argument& key, const char* text) {
    Remarks::Refuse(session, key);
    return Refuse(session, text);
}

/// Completes the message of a request; the handler's result.
inline int Fill(ZwMgmt_interface& session, _Message* message, uint8_t service, uint16_t command,
                const void* data = nullptr, size_t length = 0) {
    message->service = service;
    message->opcode = command;
    return AttachData(message, data, length) ? 0 : Refuse(session, "out of memory\n");
}

}  // namespace zwmgmt
