/// One driver of a managed host: a record of the reply to "system listdrivers", and the request
/// that loads one.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// Filled by the agent. Texts are NUL-padded and need not be terminated.
struct DriverInfo {
    char name[32];          ///< what drvname= of other requests takes
    char date[32];          ///< empty: not available
    char version[64];       ///< empty: not available
    char description[128];  ///< in the agent's words
    uint8_t loaded;         ///< nonzero: yes
    DriverInfo* next;       ///< null in the last one
};

/// The requests "system loaddriver" and "reloaddriver" to a Xen agent; other agents, and unloading,
/// get the bare name.
struct DriverLoadRequest {
    char name[16];               ///< NUL-padded
    char virtual_functions[16];  ///< how many, as a decimal text, or "NONE"
};

#pragma pack(pop)

static_assert(sizeof(DriverInfo) == 265 && offsetof(DriverInfo, version) == 64 &&
              offsetof(DriverInfo, loaded) == 256 && offsetof(DriverInfo, next) == 257);
static_assert(sizeof(DriverLoadRequest) == 32 &&
              offsetof(DriverLoadRequest, virtual_functions) == 16);
