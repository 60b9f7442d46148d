/// Opening files of the local machine.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zwmgmt::platform {

enum class OpenResult { kOpened, kNotThere, kNotReadable, kNotRegular };

/// Opens a regular file for binary reading, unbuffered; anything else is not opened, and not waited
/// for. On kOpened *file belongs to the caller (fclose), and *size is its length in bytes.
OpenResult OpenRegularFile(const char* path, FILE** file, uint64_t* size);

/// Why a file was not opened, in words.
constexpr const char* WhyNot(OpenResult result) {
    switch (result) {
        case OpenResult::kOpened: break;
        case OpenResult::kNotThere: return "there is no such file";
        case OpenResult::kNotReadable: return "it cannot be opened";
        case OpenResult::kNotRegular: return "it is not a regular file";
    }
    return "";
}

/// Whether users other than the owner may read the file.
bool ReadableByOthers(const char* path);

/// The file's own name: what follows the last separator of the path.
const char* BaseName(const char* path);

}  // namespace zwmgmt::platform
