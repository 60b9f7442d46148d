/// The folder that packages are kept in until they are installed, each in a folder of its own whose
/// name nobody can guess. Nobody but this process's user sees any of it.
#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "linux_agent/descriptor.h"

namespace zmagent {

/// Makes the folder where it is missing. False, with the reason in *error, when it cannot be used.
bool PrepareSpool(const std::string& spool, std::string* error);

/// Removes what an agent has left that is no more.
void EmptySpool(const std::string& spool);

/// A package on its way, and then whole. It is removed with this, its folder and all in it, too.
class Package {
  public:
    /// Makes sure of the room for it. Null, with the reason in *error, where there is none.
    static std::unique_ptr<Package> Begin(const std::string& spool, const std::string& name,
                                          uint64_t size, std::string* error);
    ~Package();
    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;

    /// Never more than the size; false, with the reason in *error, when it cannot be written.
    bool Add(std::span<const uint8_t> piece, std::string* error);
    /// What has come is all: it is put under its name, with a record of it beside it. False, with
    /// the reason in *error, when that cannot be, or bytes are missing.
    bool Finish(std::string* error);

    const std::string& Name() const { return name; }
    const std::string& Folder() const { return folder; }
    std::string Path() const { return folder + "/" + name; }
    uint64_t Size() const { return size; }
    uint64_t Written() const { return written; }
    /// In hexadecimal; once it is finished.
    const std::string& Sha256() const { return sha256; }

  private:
    struct FreeDigest {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };

    Package(std::string its_folder, std::string its_name, uint64_t its_size);
    bool Open(std::string* error);
    bool Record(int place) const;

    const std::string folder;
    const std::string name;
    const uint64_t size;
    uint64_t written = 0;
    Descriptor file;
    std::unique_ptr<EVP_MD_CTX, FreeDigest> digest;
    std::string sha256;
};

}  // namespace zmagent
