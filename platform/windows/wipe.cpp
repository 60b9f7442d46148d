#include "platform/wipe.h"

#include <windows.h>

namespace zwmgmt::platform {

void Wipe(void* bytes, size_t length) { SecureZeroMemory(bytes, length); }

}  // namespace zwmgmt::platform
