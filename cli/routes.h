/// The route table: all that the dispatcher, the printer and the list builder know of a command.
#pragma once

#include <cstdint>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

enum class ReplyShape {
    kNothing,  // a status alone
    kList,     // records; sizes are those of the command's ListKind
    kBlock,    // data of any other form, message.data_length bytes
};

enum class Arguments {
    kNone,  // neither a sub-command nor keys
    kSome,  // the builder checks them
};

struct Route {
    uint8_t service;
    uint16_t command;
    Arguments arguments;
    int (ZwMgmt_interface::*build)(Client_Request_Message*, _Message*);
    ReplyShape reply;
    void (*print)(ZwMgmt_interface& session, const void* output, _Message* message);
};

/// Null when the command has no handler.
const Route* FindRoute(uint8_t service, uint16_t command);

/// By command number alone, which is one space across services; null when it has no handler.
const Route* FindRoute(int command);

}  // namespace zwmgmt
