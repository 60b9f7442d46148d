/// Messages on a client's wire.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "agent/options.h"
#include "agent/wire.h"
#include "zwmgmt/message.h"

namespace zwmgmt::agent {

struct Message {
    _Message header = {};
    std::vector<uint8_t> data = {};
};

/// How far a client's session is.
enum class Stage { kNew, kOpened, kLoggedIn };

/// Reads what a client sends next. Until it has logged in a client may send little, and has only so
/// long for it. False when the session is over.
bool ReadMessage(Wire& wire, Stage stage, const TimeLimits& limits, Message* message);

bool WriteMessage(Wire& wire, const _Message& header, std::span<const uint8_t> data = {});

}  // namespace zwmgmt::agent
