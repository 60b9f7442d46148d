/// What goes over the wire of a session, for those who want to see it.
#pragma once

#include <cstdint>

#include "zwmgmt/message.h"

namespace zwmgmt {

/// A message that was sent or received whole.
struct TracedMessage {
    bool sent;               ///< by this side; otherwise received
    const _Message& header;  ///< as it travelled; its data pointer means nothing
    const uint8_t* data;     ///< header.data_length bytes; null where there are none, or where they
                             ///< are a login's
};

/// A program's own function, called as messages go. It must not throw, nor use the session.
using TraceFunction = void(void* context, const TracedMessage& message);

}  // namespace zwmgmt
