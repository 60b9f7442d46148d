/// What a network half may ask of packages, with a hook that is run with those that become whole.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "linux_agent/installer.h"
#include "zwmgmt/fixed_text.h"

namespace {

void Require(bool holds) {
    if (!holds) std::abort();
}

/// Takes the packages of an agent into a folder that goes with it.
struct Installing {
    Installing() {
        char name[] = "/dev/shm/package_fuzz_XXXXXX";
        std::string error;
        Require(audit.Open("/dev/null", &error) && mkdtemp(name) != nullptr);
        folder = name;
        config.spool = folder + "/spool";
        Require(zmagent::PrepareSpool(config.spool, &error));
        config.install_hook = "/usr/bin/true";
        config.package_most_bytes = 1u << 16;
    }
    ~Installing() { std::filesystem::remove_all(folder); }

    std::string folder;
    zmagent::Audit audit;
    zmagent::Config config;
    zmagent::Installer installer{audit};
};

}  // namespace

/// A byte chooses a question, and how much of what follows comes with it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    using zmagent::Asked;
    static Installing all;
    std::span<const uint8_t> bytes(input, size);
    zmagent::Delivery delivery(all.installer, all.config);
    uint64_t room = 0;  // that pieces may take
    while (!bytes.empty()) {
        const uint8_t chosen = bytes[0];
        const auto asked = static_cast<Asked>(static_cast<uint8_t>(Asked::kFile) + chosen % 4);
        const size_t most = asked == Asked::kFile ? sizeof(zmagent::FileRecord) : chosen / 4;
        const auto with = bytes.subspan(1, std::min(most, bytes.size() - 1));
        bytes = bytes.subspan(1 + with.size());
        zmagent::FileRecord record = {};
        std::vector<uint8_t> data(with.begin(), with.end());
        if (asked == Asked::kFile && chosen < 0xC0) {
            std::ranges::copy(data, reinterpret_cast<uint8_t*>(&record));
            if (chosen < 0x80) record.size &= 0x7F;
            if (chosen < 0x40) zwmgmt::SetFixedText(record.name, std::string_view("package"));
            const auto* whole = reinterpret_cast<const uint8_t*>(&record);
            data.assign(whole, whole + sizeof(record));
        }
        const auto reply = delivery.Answer(asked, data, "user", "::1", 0);
        const bool taken = reply.status == 0;
        Require(reply.data.empty());
        if (asked == Asked::kPiece) {
            Require(!taken || data.size() <= room);
            room = taken ? room - data.size() : 0;
        } else {
            if (data.size() == sizeof(record)) std::memcpy(&record, data.data(), data.size());
            room = asked == Asked::kFile && taken ? record.size : 0;
        }
    }
    all.installer.OutcomeOf("user");
    return 0;
}
