/// What the operations of a session return: they print nothing themselves.
#pragma once

#include <cstdint>

#include "zwmgmt/export.h"
#include "zwmgmt/status.h"

namespace zwmgmt {

struct SessionResult {
    uint32_t status = kSuccess;
    const char* said = "";  ///< what the caller is to print

    bool Succeeded() const { return status == kSuccess; }
};

/// What is known of a failure beyond its status; "" when nothing is.
struct FailureDetail {
    char text[512] = "";

    void Set(const char* format, ...) ZWMGMT_PRINTF_LIKE(2, 3);
};

}  // namespace zwmgmt
