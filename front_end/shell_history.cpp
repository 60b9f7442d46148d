#include "front_end/shell_history.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string_view>

#include "front_end/say.h"
#include "platform/file.h"
#include "platform/host.h"

namespace zwcli {
namespace {

constexpr size_t kMostLines = 1000;
constexpr size_t kLargestFile = 1u << 20;

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

/// Why the text could not be written, or "".
std::string Write(FILE* opened, const std::string& text) {
    if (opened == nullptr) return std::strerror(errno);
    const File stream(opened, std::fclose);
    const bool is_written =
        std::fwrite(text.data(), 1, text.size(), opened) == text.size() && std::fflush(opened) == 0;
    return is_written ? "" : std::strerror(errno);
}

}  // namespace

ShellHistory::ShellHistory() {
    char path[4096];
    if (!zwmgmt::platform::UserStatePath("zwcli_history", path, sizeof(path))) return;
    file = path;
    std::string wrong = Read();
    if (wrong.empty() && lines.size() > kMostLines) {
        lines.erase(lines.begin(), lines.end() - kMostLines);
        wrong = Shorten();
    }
    if (wrong.empty()) return;
    Say("lines are not kept: " + file + ": " + wrong);
    file.clear();
}

std::string ShellHistory::Read() {
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    std::error_code failure;
    const bool is_new = std::filesystem::create_directories(folder, failure);
    if (is_new) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, failure);
    }
    if (failure) return failure.message();
    FILE* opened = nullptr;
    uint64_t size = 0;
    const auto result = zwmgmt::platform::OpenRegularFile(file.c_str(), &opened, &size);
    if (result == zwmgmt::platform::OpenResult::kNotThere) return "";
    if (result != zwmgmt::platform::OpenResult::kOpened) return zwmgmt::platform::WhyNot(result);
    const File stream(opened, std::fclose);
    std::string text(kLargestFile + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), opened));
    if (text.size() > kLargestFile) return "larger than 1 MiB";
    std::istringstream rest(text);
    for (std::string line; std::getline(rest, line);) lines.push_back(line);
    return "";
}

std::string ShellHistory::Shorten() const {
    std::string text;
    for (const std::string& line : lines) text += line + '\n';
    const std::string draft = file + ".new";
    std::error_code failure;
    std::filesystem::remove(draft, failure);
    std::string wrong = Write(zwmgmt::platform::CreatePrivately(draft.c_str()), text);
    if (wrong.empty()) std::filesystem::rename(draft, file, failure);
    return failure ? failure.message() : wrong;
}

bool ShellHistory::Add(const std::string& line) {
    if (line.starts_with(' ') || line.starts_with('\t')) return false;
    if (!lines.empty() && lines.back() == line) return false;
    lines.push_back(line);
    if (file.empty()) return true;
    const std::string wrong = Write(zwmgmt::platform::AppendPrivately(file.c_str()), line + '\n');
    if (wrong.empty()) return true;
    Say("lines are not kept: " + file + ": " + wrong);
    file.clear();
    return true;
}

}  // namespace zwcli
