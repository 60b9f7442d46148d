/// What is said when an agent refuses a file.
#pragma once

#include <cstdint>

namespace zwmgmt {

/// Null for a status without a text of its own.
const char* FileRefusalText(uint32_t status);

}  // namespace zwmgmt
