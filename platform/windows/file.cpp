#include "platform/file.h"

// clang-format off
#include <windows.h>
#include <aclapi.h>
// clang-format on
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace zwmgmt::platform {
namespace {

struct FreeLocal {
    void operator()(void* memory) const { LocalFree(memory); }
};

/// Whom a file is never hidden from (the counterparts of the superuser), and its owner by another
/// name.
constexpr WELL_KNOWN_SID_TYPE kNobodyElse[] = {WinLocalSystemSid, WinBuiltinAdministratorsSid,
                                               WinCreatorOwnerRightsSid};

/// The user who runs this process.
class ThisUser {
  public:
    ThisUser() {
        HANDLE token = nullptr;
        if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return;
        DWORD length = 0;
        told = GetTokenInformation(token, TokenUser, memory, sizeof(memory), &length);
        CloseHandle(token);
    }
    /// Null when the system does not tell.
    PSID Sid() const {
        return told ? reinterpret_cast<const TOKEN_USER*>(memory)->User.Sid : nullptr;
    }

  private:
    alignas(TOKEN_USER) char memory[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    bool told = false;
};

bool IsOther(PSID who, PSID owner) {
    const ThisUser user;
    return !EqualSid(who, owner) && (user.Sid() == nullptr || !EqualSid(who, user.Sid())) &&
           std::ranges::none_of(kNobodyElse, [who](WELL_KNOWN_SID_TYPE type) {
               return IsWellKnownSid(who, type) != FALSE;
           });
}

bool LetsOthersRead(const ACL& list, PSID owner) {
    constexpr DWORD kReading = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL;
    for (DWORD i = 0; i < list.AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(const_cast<ACL*>(&list), i, &entry)) return true;
        const auto* allowed = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
        if (allowed->Header.AceType != ACCESS_ALLOWED_ACE_TYPE ||
            (allowed->Header.AceFlags & INHERIT_ONLY_ACE) != 0 || (allowed->Mask & kReading) == 0) {
            continue;
        }
        if (IsOther(const_cast<DWORD*>(&allowed->SidStart), owner)) return true;
    }
    return false;
}

}  // namespace

namespace {

/// Folders open, too, to be told apart. Whoever serves a pipe of that name learns no more than who
/// asks.
HANDLE Open(const char* path) {
    constexpr DWORD kFlags =
        FILE_FLAG_BACKUP_SEMANTICS | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
    return CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, OPEN_EXISTING, kFlags, nullptr);
}

/// The handle as a stream, or closed.
FILE* StreamOf(HANDLE handle, int access = _O_RDONLY, const char* mode = "rb") {
    const int fd =
        _open_osfhandle(reinterpret_cast<intptr_t>(handle), access | _O_BINARY | _O_NOINHERIT);
    if (fd < 0) {
        CloseHandle(handle);
        return nullptr;
    }
    FILE* stream = _fdopen(fd, mode);
    if (stream == nullptr) _close(fd);
    return stream;
}

}  // namespace

bool MayBeThere(const char* path) {
    if (GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES) return true;
    const DWORD error = GetLastError();
    return error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
}

OpenResult OpenRegularFile(const char* path, FILE** file, uint64_t* size) {
    const HANDLE handle = Open(path);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION
                   ? OpenResult::kNotReadable
                   : OpenResult::kNotThere;
    }
    BY_HANDLE_FILE_INFORMATION found;
    LARGE_INTEGER length;
    if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileInformationByHandle(handle, &found) ||
        (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ||
        !GetFileSizeEx(handle, &length)) {
        CloseHandle(handle);
        return OpenResult::kNotRegular;
    }
    *file = StreamOf(handle);
    if (*file == nullptr) return OpenResult::kNotReadable;
    std::setvbuf(*file, nullptr, _IONBF, 0);
    *size = static_cast<uint64_t>(length.QuadPart);
    return OpenResult::kOpened;
}

OpenResult OpenToRead(const char* path, Wanted wanted, FILE** file, uint64_t* size) {
    const HANDLE handle = Open(path);
    if (handle == INVALID_HANDLE_VALUE) {
        switch (GetLastError()) {
            case ERROR_ACCESS_DENIED: return OpenResult::kNotAllowed;
            case ERROR_SHARING_VIOLATION: return OpenResult::kNotReadable;
            default: return OpenResult::kNotThere;
        }
    }
    const bool on_disk = GetFileType(handle) == FILE_TYPE_DISK;
    BY_HANDLE_FILE_INFORMATION found;
    OpenResult result = OpenResult::kOpened;
    if (!on_disk && wanted == Wanted::kRegularFile) result = OpenResult::kNotRegular;
    if (on_disk && GetFileInformationByHandle(handle, &found) &&
        (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        result = OpenResult::kFolder;
    }
    if (result != OpenResult::kOpened) {
        CloseHandle(handle);
        return result;
    }
    LARGE_INTEGER length = {};
    if (on_disk && !GetFileSizeEx(handle, &length)) length.QuadPart = 0;
    *size = static_cast<uint64_t>(length.QuadPart);
    *file = StreamOf(handle);
    return *file != nullptr ? OpenResult::kOpened : OpenResult::kNotReadable;
}

bool ReadableByOthers(const char* path) {
    PSID owner = nullptr;
    ACL* list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoA(const_cast<char*>(path), SE_FILE_OBJECT,
                              OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                              nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    const std::unique_ptr<void, FreeLocal> owned(descriptor);
    return list == nullptr || LetsOthersRead(*list, owner);  // without a list everybody may
}

FILE* AppendPrivately(const char* path) { return std::fopen(path, "ab"); }

FILE* CreatePrivately(const char* path) {
    const ThisUser user;
    alignas(ACL) char memory[sizeof(ACL) + sizeof(ACCESS_ALLOWED_ACE) + SECURITY_MAX_SID_SIZE];
    auto* list = reinterpret_cast<ACL*>(memory);
    SECURITY_DESCRIPTOR rights;
    if (user.Sid() == nullptr || !InitializeAcl(list, sizeof(memory), ACL_REVISION) ||
        !AddAccessAllowedAce(list, ACL_REVISION, FILE_ALL_ACCESS, user.Sid()) ||
        !InitializeSecurityDescriptor(&rights, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorControl(&rights, SE_DACL_PROTECTED, SE_DACL_PROTECTED) ||
        !SetSecurityDescriptorDacl(&rights, TRUE, list, FALSE)) {
        errno = EACCES;
        return nullptr;
    }
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), &rights, FALSE};
    const HANDLE handle = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, &attributes, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle != INVALID_HANDLE_VALUE) return StreamOf(handle, _O_WRONLY, "wb");
    const DWORD error = GetLastError();
    errno = error == ERROR_FILE_EXISTS ? EEXIST : error == ERROR_ACCESS_DENIED ? EACCES : ENOENT;
    return nullptr;
}

FileLock::FileLock(const char* path) {
    const int fd = _open(path, _O_RDWR | _O_CREAT | _O_NOINHERIT | _O_BINARY, _S_IREAD | _S_IWRITE);
    if (fd < 0) return;
    OVERLAPPED whole = {};
    if (LockFileEx(reinterpret_cast<HANDLE>(_get_osfhandle(fd)), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0,
                   &whole)) {
        handle = fd;
    } else {
        _close(fd);
        errno = EACCES;
    }
}

FileLock::~FileLock() {
    if (Held()) _close(static_cast<int>(handle));
}

const char* BaseName(const char* path) {
    const char* name = path;
    // By characters: in some code pages the second byte of one can be a backslash.
    for (; *path != '\0'; path = CharNextA(path)) {
        if (*path == '/' || *path == '\\' || *path == ':') name = path + 1;
    }
    return name;
}

}  // namespace zwmgmt::platform
