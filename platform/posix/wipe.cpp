#include "platform/wipe.h"

#include <cstring>

namespace zwmgmt::platform {

void Wipe(void* bytes, size_t length) { explicit_bzero(bytes, length); }

}  // namespace zwmgmt::platform
