/// Opening files of the local machine.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zwmgmt::platform {

enum class OpenResult { kOpened, kNotThere, kNotAllowed, kNotReadable, kFolder, kNotRegular };

/// Opens a regular file for binary reading, unbuffered; anything else is not opened, and not waited
/// for. On kOpened *file belongs to the caller (fclose), and *size is its length in bytes.
OpenResult OpenRegularFile(const char* path, FILE** file, uint64_t* size);

/// Opens for binary reading what a person names: a regular file, or, where they are wanted, also a
/// pipe or a device, which is waited for. Tells folders and what is not allowed from the rest. On
/// kOpened *file belongs to the caller (fclose), and *size is a regular file's length in bytes, 0
/// for anything else.
enum class Wanted { kRegularFile, kPipesToo };
OpenResult OpenToRead(const char* path, Wanted wanted, FILE** file, uint64_t* size);

/// Why a file was not opened, in words.
constexpr const char* WhyNot(OpenResult result) {
    switch (result) {
        case OpenResult::kOpened: break;
        case OpenResult::kNotThere: return "there is no such file";
        case OpenResult::kNotAllowed: return "permission denied";
        case OpenResult::kFolder: return "it is a folder";
        case OpenResult::kNotReadable: return "it cannot be opened";
        case OpenResult::kNotRegular: return "it is not a regular file";
    }
    return "";
}

/// Whether something lies at the path, or may: what cannot be looked at may be there.
bool MayBeThere(const char* path);

/// Whether users other than the owner may read the file.
bool ReadableByOthers(const char* path);

/// Opens a file to append to, which only its owner can read where it is made now; null with errno.
FILE* AppendPrivately(const char* path);
/// Makes a file to write to, which only its owner can read; null with errno, also where there is
/// one already.
FILE* CreatePrivately(const char* path);

/// Has a file to itself, which is made where there is none, while others wait that ask the same in
/// this process or another one.
class FileLock {
  public:
    explicit FileLock(const char* path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// False when it could not be had; errno tells why.
    bool Held() const { return handle != -1; }

  private:
    intptr_t handle = -1;
};

/// The file's own name: what follows the last separator of the path.
const char* BaseName(const char* path);

}  // namespace zwmgmt::platform
