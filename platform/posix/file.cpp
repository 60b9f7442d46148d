#include "platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zwmgmt::platform {

bool MayBeThere(const char* path) {
    struct stat found;
    return lstat(path, &found) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

OpenResult OpenRegularFile(const char* path, FILE** file, uint64_t* size) {
    struct stat found;
    if (stat(path, &found) != 0) return OpenResult::kNotThere;
    if (!S_ISREG(found.st_mode)) return OpenResult::kNotRegular;
    // What lies at the path may have changed meanwhile: a pipe would be waited for without
    // O_NONBLOCK.
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return OpenResult::kNotReadable;
    if (fstat(fd, &found) != 0 || !S_ISREG(found.st_mode)) {
        close(fd);
        return OpenResult::kNotRegular;
    }
    *file = fdopen(fd, "rb");
    if (*file == nullptr) {
        close(fd);
        return OpenResult::kNotReadable;
    }
    std::setvbuf(*file, nullptr, _IONBF, 0);
    *size = static_cast<uint64_t>(found.st_size);
    return OpenResult::kOpened;
}

namespace {

/// Whether it is what is wanted, once its attributes are known.
OpenResult Judge(const struct stat& found, Wanted wanted) {
    if (S_ISDIR(found.st_mode)) return OpenResult::kFolder;
    const bool wrong = wanted == Wanted::kRegularFile && !S_ISREG(found.st_mode);
    return wrong ? OpenResult::kNotRegular : OpenResult::kOpened;
}

OpenResult WhyNotOpened() {
    return errno == ENOENT || errno == ENOTDIR ? OpenResult::kNotThere
           : errno == EACCES                   ? OpenResult::kNotAllowed
                                               : OpenResult::kNotReadable;
}

}  // namespace

OpenResult OpenToRead(const char* path, Wanted wanted, FILE** file, uint64_t* size) {
    // A pipe that is not wanted is not opened, either: its writer would go on.
    struct stat found;
    if (stat(path, &found) != 0) return WhyNotOpened();
    OpenResult result = Judge(found, wanted);
    if (result != OpenResult::kOpened) return result;
    const int waiting = wanted == Wanted::kRegularFile ? O_NONBLOCK : 0;
    const int fd = open(path, O_RDONLY | O_CLOEXEC | waiting);
    if (fd < 0) return WhyNotOpened();
    result = fstat(fd, &found) == 0 ? Judge(found, wanted) : OpenResult::kNotReadable;
    *file = result == OpenResult::kOpened ? fdopen(fd, "rb") : nullptr;
    *size = S_ISREG(found.st_mode) ? static_cast<uint64_t>(found.st_size) : 0;
    if (*file != nullptr) return OpenResult::kOpened;
    close(fd);
    return result == OpenResult::kOpened ? OpenResult::kNotReadable : result;
}

bool ReadableByOthers(const char* path) {
    struct stat found;
    return stat(path, &found) == 0 && (found.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

namespace {

FILE* OpenPrivately(const char* path, int flags, const char* mode) {
    constexpr mode_t kOwnerAlone = 0600;
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | flags, kOwnerAlone);
    return fd < 0 ? nullptr : fdopen(fd, mode);
}

}  // namespace

FILE* AppendPrivately(const char* path) { return OpenPrivately(path, O_APPEND, "ab"); }

FILE* CreatePrivately(const char* path) { return OpenPrivately(path, O_EXCL, "wb"); }

FileLock::FileLock(const char* path) {
    constexpr mode_t kOwnerAlone = 0600;
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, kOwnerAlone);
    if (fd < 0) return;
    int failed;
    while ((failed = flock(fd, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (failed == 0) {
        handle = fd;
    } else {
        close(fd);
    }
}

FileLock::~FileLock() {
    if (Held()) close(static_cast<int>(handle));
}

const char* BaseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

}  // namespace zwmgmt::platform
