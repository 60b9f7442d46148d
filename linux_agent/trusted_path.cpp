#include "linux_agent/trusted_path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

namespace zmagent {
namespace {

/// What is wrong with it; empty: nothing.
std::string WrongWith(int step, bool is_last) {
    struct stat found = {};
    if (fstat(step, &found) != 0) return std::strerror(errno);
    if (S_ISLNK(found.st_mode)) return "is a link";
    if (found.st_uid != 0 && found.st_uid != geteuid()) return "is another user's";
    const bool is_shared = !is_last && S_ISDIR(found.st_mode) && (found.st_mode & S_ISVTX) != 0;
    const bool is_open = (found.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    return is_open && !is_shared ? "can be changed by others" : "";
}

}  // namespace

Descriptor OpenTrusted(const std::string& path, std::string* error) {
    if (!path.starts_with('/')) {
        *error = "\"" + path + "\" is no absolute path";
        return Descriptor();
    }
    Descriptor step(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::string so_far;
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '/');) {
        if (name.empty()) continue;
        so_far += "/" + name;
        step = Descriptor(openat(step.Number(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        const std::string wrong =
            step ? WrongWith(step.Number(), names.eof()) : std::strerror(errno);
        if (wrong.empty()) continue;
        *error = so_far + (step ? " " : ": ") + wrong;
        return Descriptor();
    }
    return step;
}

}  // namespace zmagent
