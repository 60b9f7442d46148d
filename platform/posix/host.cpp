#include "platform/host.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zwmgmt::platform {

namespace {

/// Calls `use` with the entry of the user who runs this process; false without one.
template <class Use>
bool WithUserEntry(Use use) {
    char texts[1 << 14];
    passwd entry;
    passwd* found = nullptr;
    return getpwuid_r(geteuid(), &entry, texts, sizeof(texts), &found) == 0 && found != nullptr &&
           use(*found);
}

bool PathInHome(const char* folder, const char* name, char* path, size_t capacity) {
    const auto below = [&](const char* home) {
        const int length = std::snprintf(path, capacity, "%s/%s/korvane/%s", home, folder, name);
        return length > 0 && static_cast<size_t>(length) < capacity;
    };
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') return below(home);
    return WithUserEntry([&](const passwd& user) { return below(user.pw_dir); });
}

}  // namespace

bool CurrentUserName(char* name, size_t capacity) {
    return WithUserEntry([&](const passwd& user) {
        std::snprintf(name, capacity, "%s", user.pw_name);
        return true;
    });
}

bool UserFilePath(const char* name, char* path, size_t capacity) {
    return PathInHome(".config", name, path, capacity);
}

bool UserStatePath(const char* name, char* path, size_t capacity) {
    const char* folder = std::getenv("XDG_STATE_HOME");
    if (folder == nullptr || folder[0] != '/') {
        return PathInHome(".local/state", name, path, capacity);
    }
    const int length = std::snprintf(path, capacity, "%s/korvane/%s", folder, name);
    return length > 0 && static_cast<size_t>(length) < capacity;
}

bool SystemFilePath(const char* name, char* path, size_t capacity) {
    const int length = std::snprintf(path, capacity, "/etc/korvane/%s", name);
    return length > 0 && static_cast<size_t>(length) < capacity;
}

bool CertificatePath(char* path, size_t capacity) {
    static constexpr char kFile[] = "certs/cert.pem";
    const ssize_t length = readlink("/proc/self/exe", path, capacity);
    if (length <= 0 || static_cast<size_t>(length) == capacity) return false;
    path[length] = '\0';
    char* after_folder = std::strrchr(path, '/') + 1;
    if (after_folder + sizeof(kFile) > path + capacity) return false;
    std::memcpy(after_folder, kFile, sizeof(kFile));
    return true;
}

}  // namespace zwmgmt::platform
