/// What the local file system says of a file.
#pragma once

#include <cstdint>

namespace zwmgmt::platform {

struct FileStatus {
    bool regular;
    uint64_t size;  // bytes
};

/// False when the file cannot be looked at.
bool GetFileStatus(const char* path, FileStatus* status);

}  // namespace zwmgmt::platform
