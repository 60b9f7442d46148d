/// The filter service on the kernel's own tables, which are the only store of its rules.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "agent/host_model.h"
#include "linux_agent/interfaces.h"

namespace zmagent {

namespace agent = zwmgmt::agent;

/// The answer to a request of the filter service; nothing to one that it does not know.
std::optional<agent::Reply> AnswerFilter(Kernel& kernel, const std::vector<Adapter>& adapters,
                                         uint16_t opcode, std::span<const uint8_t> data);

/// Whether any of these adapters has a table of its own for rules.
bool HaveReceiveRules(Kernel& kernel, const std::vector<Adapter>& adapters);

}  // namespace zmagent
