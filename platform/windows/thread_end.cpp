#include "platform/thread_end.h"

#include <openssl/crypto.h>
#include <windows.h>

namespace zwmgmt::platform {
namespace {

void NTAPI AtThread(void*, DWORD event, void*) {
    if (event == DLL_THREAD_DETACH) OPENSSL_thread_stop();
}

}  // namespace

// OpenSSL's own DLL is told when a thread ends; a program or DLL that carries OpenSSL in itself has
// to pass it on. The system calls what lies in this section.
extern "C" __attribute__((section(".CRT$XLF"), used)) const PIMAGE_TLS_CALLBACK zwmgmt_at_thread =
    AtThread;

void FreeTlsStateOfEndedThreads() {}  // called so that the linker takes this file along

}  // namespace zwmgmt::platform
