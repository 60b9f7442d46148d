#include "platform/thread_end.h"

namespace zwmgmt::platform {

void FreeTlsStateOfEndedThreads() {}  // OpenSSL sees to it itself

}  // namespace zwmgmt::platform
