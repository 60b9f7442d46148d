/// Files that the program's options name.
#pragma once

#include <cstddef>
#include <string>

namespace zwmgmt::agent {

/// The whole of a regular file or a pipe of at most `most` bytes. Folders and devices are not read,
/// and what has no end is not read to it. False, with the reason in *error.
bool ReadLocalFile(const std::string& path, size_t most, std::string* text, std::string* error);

/// The first line of a regular file or a pipe, without its line end; nothing behind it counts.
bool ReadFirstLine(const std::string& path, size_t most, std::string* line, std::string* error);

}  // namespace zwmgmt::agent
