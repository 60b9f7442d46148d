/// The route table: all that the dispatcher, the printer and the list builder know of a command.
#pragma once

#include <cstdint>
#include <span>

#include "commands/arguments.h"
#include "output/description.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

enum class ReplyShape {
    kNothing,  // a status alone
    kList,     // linked records; sizes are those of the command's ListKind
    kBlock,    // data of any other form, message.data_length bytes
    kNone,     // nothing is sent: the handler prints what there is to print
    kOwn,      // the handler has exchanged and printed all there is; its message is the last reply
};

enum class Arguments {
    kNone,  // neither a sub-command nor keys
    kKeys,  // keys, which the builder checks
    kSome,  // a sub-command and keys, which the builder checks
};

struct Route {
    uint8_t service;
    uint16_t command;
    Arguments arguments;
    /// Null: the form alone tells.
    int (*build)(ZwMgmt_interface& session, Client_Request_Message* request, _Message* message,
                 char* result_buffer, void** out) = nullptr;
    ReplyShape reply;
    /// Null: the description of the records alone tells.
    void (*print)(ZwMgmt_interface& session, const void* output, _Message* message) = nullptr;
    const char* keys;                      // as a line of help shows them
    const char* purpose;                   // "lists the ports of an adapter"
    const char* example;                   // a command line that a host can be asked with
    const Description* records = nullptr;  // what a successful reply holds; null: nothing
    uint16_t answer = 0;                   // opcode of that reply, where it is not the command
    const RequestForm* form = nullptr;     // where there is no builder: the request; null: no data
    const char* question = nullptr;        // of what runs in the background: asks for its outcome

    constexpr uint16_t AnswerOpcode() const { return answer != 0 ? answer : command; }
};

std::span<const Route> Routes();

/// Null when the command has no handler.
const Route* FindRoute(uint8_t service, uint16_t command);

/// By command number alone, which is one space across services; null when it has no handler.
const Route* FindRoute(int command);

}  // namespace zwmgmt
