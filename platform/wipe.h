/// Clearing memory that held a secret.
#pragma once

#include <cstddef>

namespace zwmgmt::platform {

/// Sets the bytes to zero, also where the compiler sees nobody read them again.
void Wipe(void* bytes, size_t length);

}  // namespace zwmgmt::platform
