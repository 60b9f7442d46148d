#include "platform/file.h"

#include <sys/stat.h>

namespace zwmgmt::platform {

bool GetFileStatus(const char* path, FileStatus* status) {
    struct stat found;
    if (stat(path, &found) != 0) return false;
    *status = {S_ISREG(found.st_mode), static_cast<uint64_t>(found.st_size)};
    return true;
}

}  // namespace zwmgmt::platform
