#include "agent/local_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "platform/file.h"

namespace zwmgmt::agent {
namespace {

using platform::OpenResult;

struct Closer {
    void operator()(FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<FILE, Closer>;

const char* ReasonOf(OpenResult result) {
    return result == OpenResult::kNotRegular ? "it is neither a file nor a pipe"
                                             : platform::WhyNot(result);
}

/// A pipe is a file to a shell that writes <(COMMAND).
OpenFile Open(const std::string& path, std::string* error) {
    FILE* file = nullptr;
    uint64_t size = 0;
    OpenResult result = platform::OpenRegularFile(path.c_str(), &file, &size);
    std::error_code ignored;
    if (result == OpenResult::kNotRegular && std::filesystem::is_fifo(path, ignored)) {
        file = std::fopen(path.c_str(), "rb");
        result = file != nullptr ? OpenResult::kOpened : OpenResult::kNotReadable;
    }
    if (file == nullptr) *error = "cannot read " + path + ": " + ReasonOf(result);
    return OpenFile(file);
}

/// Reads up to `most` bytes, or up to the first line end.
bool Read(FILE* file, size_t most, bool one_line, std::string* text) {
    char piece[4096];
    text->clear();
    while (text->size() < most) {
        // Of a line byte by byte: a pipe's writer may keep the rest for somebody else.
        const size_t wanted = one_line ? 1 : std::min(sizeof(piece), most - text->size());
        const size_t got = std::fread(piece, 1, wanted, file);
        if (got == 0) break;
        if (one_line && (piece[0] == '\n' || piece[0] == '\r')) break;
        text->append(piece, got);
    }
    return std::ferror(file) == 0;
}

bool ReadBounded(const std::string& path, size_t most, bool one_line, std::string* text,
                 std::string* error) {
    const OpenFile file = Open(path, error);
    if (!file) return false;
    if (!Read(file.get(), most + 1, one_line, text)) {
        *error = "cannot read " + path;
        return false;
    }
    if (text->size() <= most) return true;
    *error = path + ": longer than " + std::to_string(most) + " bytes";
    return false;
}

}  // namespace

bool ReadLocalFile(const std::string& path, size_t most, std::string* text, std::string* error) {
    return ReadBounded(path, most, false, text, error);
}

bool ReadFirstLine(const std::string& path, size_t most, std::string* line, std::string* error) {
    return ReadBounded(path, most, true, line, error);
}

}  // namespace zwmgmt::agent
