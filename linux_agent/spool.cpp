#include "linux_agent/spool.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "linux_agent/trusted_path.h"

namespace zmagent {
namespace {

namespace fs = std::filesystem;

// No package has such a name: none begins with a dot.
constexpr const char* kArriving = ".arriving";
constexpr const char* kRecord = ".about.toml";
constexpr size_t kChance = 16;             // bytes that the name of a package's folder is made of
constexpr int kDeepest = 64;               // folders within folders
constexpr uint64_t kLeftFree = 64u << 20;  // bytes of the file system that others need, too

bool Fails(const std::string& what, std::string* error) {
    *error = "cannot " + what + ": " + std::strerror(errno);
    return false;
}

std::string Hexadecimal(std::span<const uint8_t> bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", byte);
        text += digits;
    }
    return text;
}

/// Nothing else goes, should the configuration name a folder that others use.
bool IsPackageFolder(const std::string& name) {
    return name.size() == 2 * kChance && name.find_first_not_of("0123456789abcdef") == name.npos;
}

Descriptor OpenFolder(const std::string& path) {
    return Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// A folder's entry and all in it, but for what a hook has mounted there: that is not the spool's.
bool RemoveWithin(int folder, const char* name, int depth) {
    if (unlinkat(folder, name, 0) == 0) return true;
    open_how how = {};
    how.flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
    Descriptor inner(static_cast<int>(syscall(SYS_openat2, folder, name, &how, sizeof(how))));
    DIR* entries = inner && depth < kDeepest ? fdopendir(inner.Number()) : nullptr;
    if (entries == nullptr) return false;
    const int place = inner.Release();
    bool is_empty = true;
    while (const dirent* entry = readdir(entries)) {
        const std::string_view inside = entry->d_name;
        if (inside == "." || inside == "..") continue;
        is_empty = RemoveWithin(place, entry->d_name, depth + 1) && is_empty;
    }
    closedir(entries);
    return is_empty && unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

void Remove(const fs::path& folder) {
    const Descriptor spool = OpenFolder(folder.parent_path());
    if (!spool || RemoveWithin(spool.Number(), folder.filename().c_str(), 0)) return;
    std::fprintf(stderr, "korvane_zmagent: cannot remove all of %s\n", folder.c_str());
}

bool WriteAll(int file, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t done = write(file, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(done));
    }
    return true;
}

/// Takes the room now, so that it is there for all that has been announced.
bool TakeRoom(int file, uint64_t size, std::string* error) {
    struct statvfs system = {};
    if (fstatvfs(file, &system) != 0) return Fails("look for room", error);
    if (uint64_t{system.f_bavail} * system.f_frsize < size + kLeftFree) {
        *error = "there is no room for it";
        return false;
    }
    const int taken = fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size));
    return taken == 0 || errno == EOPNOTSUPP || Fails("take the room", error);
}

}  // namespace

bool PrepareSpool(const std::string& spool, std::string* error) {
    const fs::path path(spool);
    const Descriptor parent = OpenTrusted(path.parent_path(), error);
    if (!parent) return false;
    const int made = mkdirat(parent.Number(), path.filename().c_str(), S_IRWXU);
    if (made != 0 && errno != EEXIST) return Fails("make " + spool, error);
    struct stat found = {};
    const Descriptor folder = OpenTrusted(spool, error);
    if (!folder) return false;
    if (fstat(folder.Number(), &found) != 0) return Fails("look at " + spool, error);
    if (S_ISDIR(found.st_mode) && (found.st_mode & (S_IRWXG | S_IRWXO)) == 0) return true;
    *error = spool + " is no folder with mode 0700";
    return false;
}

void EmptySpool(const std::string& spool) {
    std::error_code failed;
    for (fs::directory_iterator left(spool, failed); !failed && left != fs::directory_iterator();
         left.increment(failed)) {
        if (IsPackageFolder(left->path().filename())) Remove(left->path());
    }
}

Package::Package(std::string its_folder, std::string its_name, uint64_t its_size)
    : folder(std::move(its_folder)),
      name(std::move(its_name)),
      size(its_size),
      digest(EVP_MD_CTX_new()) {}

Package::~Package() { Remove(folder); }

std::unique_ptr<Package> Package::Begin(const std::string& spool, const std::string& name,
                                        uint64_t size, std::string* error) {
    uint8_t chance[kChance];
    if (!PrepareSpool(spool, error)) return nullptr;
    if (RAND_bytes(chance, sizeof(chance)) != 1) {
        *error = "no random numbers are to be had";
        return nullptr;
    }
    const std::string folder = spool + "/" + Hexadecimal(chance);
    if (mkdir(folder.c_str(), S_IRWXU) != 0) {
        Fails("make " + folder, error);
        return nullptr;
    }
    std::unique_ptr<Package> package(new Package(folder, name, size));
    return package->Open(error) ? std::move(package) : nullptr;
}

bool Package::Open(std::string* error) {
    const std::string path = folder + "/" + kArriving;
    file = Descriptor(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR));
    if (!file) return Fails("make " + path, error);
    if (!digest || EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) != 1) {
        *error = "no checksum can be made";
        return false;
    }
    return TakeRoom(file.Number(), size, error);
}

bool Package::Add(std::span<const uint8_t> piece, std::string* error) {
    if (piece.size() > size - written) {
        *error = "more bytes than were announced";
        return false;
    }
    if (!WriteAll(file.Number(), piece)) return Fails("write it", error);
    written += piece.size();
    return EVP_DigestUpdate(digest.get(), piece.data(), piece.size()) == 1;
}

bool Package::Record(int place) const {
    const Descriptor record(
        openat(place, kRecord, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR));
    const std::string text = "name = \"" + name + "\"\nsize = " + std::to_string(size) +
                             "\nsha256 = \"" + sha256 + "\"\n";
    return record &&
           WriteAll(record.Number(), {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

bool Package::Finish(std::string* error) {
    if (written != size) {
        *error = "bytes are missing";
        return false;
    }
    uint8_t hash[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_DigestFinal_ex(digest.get(), hash, &length) != 1) {
        *error = "no checksum can be made";
        return false;
    }
    sha256 = Hexadecimal({hash, length});
    const Descriptor place = OpenFolder(folder);
    const bool kept = fsync(file.Number()) == 0 && place && Record(place.Number()) &&
                      renameat(place.Number(), kArriving, place.Number(), name.c_str()) == 0 &&
                      fsync(place.Number()) == 0;
    file.Close();
    return kept || Fails("keep it", error);
}

}  // namespace zmagent
