#include "session/trust_store.h"

#include "platform/file.h"
#include "platform/host.h"

namespace zwmgmt {
namespace {

constexpr char kName[] = "agents.pem";

}  // namespace

bool InstalledTrustStore(char* path, size_t capacity) {
    return (platform::UserFilePath(kName, path, capacity) && platform::MayBeThere(path)) ||
           (platform::SystemFilePath(kName, path, capacity) && platform::MayBeThere(path));
}

bool DefaultTrustStore(char* path, size_t capacity) {
    const auto beside_program = [&] { return platform::CertificatePath(path, capacity); };
    return (beside_program() && platform::MayBeThere(path)) ||
           InstalledTrustStore(path, capacity) || beside_program();
}

}  // namespace zwmgmt
