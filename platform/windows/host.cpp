#include "platform/host.h"

// clang-format off
#include <windows.h>
#include <lmcons.h>
#include <shlobj.h>
// clang-format on

#include <cstdio>
#include <cstring>

#include "platform/file.h"

namespace zwmgmt::platform {

bool CurrentUserName(char* name, size_t capacity) {
    char user[4 * UNLEN + 1];  // UNLEN counts characters
    DWORD length = sizeof(user);
    if (!GetUserNameA(user, &length)) return false;
    std::snprintf(name, capacity, "%s", user);
    return true;
}

namespace {

bool PathIn(int known_folder, const char* name, char* path, size_t capacity) {
    char folder[MAX_PATH];
    if (SHGetFolderPathA(nullptr, known_folder, nullptr, SHGFP_TYPE_CURRENT, folder) != S_OK) {
        return false;
    }
    const int length = std::snprintf(path, capacity, "%s\\korvane\\%s", folder, name);
    return length > 0 && static_cast<size_t>(length) < capacity;
}

}  // namespace

bool UserFilePath(const char* name, char* path, size_t capacity) {
    return PathIn(CSIDL_APPDATA, name, path, capacity);
}

bool UserStatePath(const char* name, char* path, size_t capacity) {
    return PathIn(CSIDL_LOCAL_APPDATA, name, path, capacity);
}

bool SystemFilePath(const char*, char*, size_t) { return false; }

bool CertificatePath(char* path, size_t capacity) {
    static constexpr char kFile[] = "certs\\cert.pem";
    const DWORD length = GetModuleFileNameA(nullptr, path, static_cast<DWORD>(capacity));
    if (length == 0 || length == capacity) return false;
    char* after_folder = path + (BaseName(path) - path);
    if (after_folder + sizeof(kFile) > path + capacity) return false;
    std::memcpy(after_folder, kFile, sizeof(kFile));
    return true;
}

}  // namespace zwmgmt::platform
