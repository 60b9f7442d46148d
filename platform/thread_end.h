/// What a library keeps for each thread.
#pragma once

namespace zwmgmt::platform {

/// From the first call on, what OpenSSL keeps for a thread goes when the thread ends.
void FreeTlsStateOfEndedThreads();

}  // namespace zwmgmt::platform
