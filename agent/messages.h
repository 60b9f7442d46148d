/// Messages on a client's wire.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "agent/wire.h"
#include "zwmgmt/message.h"

namespace zwmgmt::agent {

struct Message {
    _Message header = {};
    std::vector<uint8_t> data = {};
};

/// Reads what a client sends next. Until it has opened its session a client may send little, and
/// has only so long for it. False when the session is over.
bool ReadMessage(Wire& wire, bool opened, platform::Milliseconds opening_limit, Message* message);

bool WriteMessage(Wire& wire, const _Message& header, std::span<const uint8_t> data = {});

}  // namespace zwmgmt::agent
