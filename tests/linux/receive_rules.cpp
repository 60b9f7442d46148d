/// Stands for adapters with tables of receive rules, as no emulated one has them: preloaded, or
/// linked, it answers ethtool's ioctl for interfaces that have a file of their name in the folder
/// RECEIVE_RULES. The file is the table, so that programs share it. The driver has faults that real
/// ones have.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

constexpr uint32_t kLocations = 64;
constexpr uint64_t kRings = 4;

struct Table {
    bool used[kLocations];
    ethtool_rx_flow_spec rules[kLocations];
};

int Insert(Table* table, ethtool_rx_flow_spec rule) {
    const uint32_t type = rule.flow_type & ~(FLOW_EXT | FLOW_MAC_EXT);
    table->used[rule.location] = false;  // whatever becomes of it
    if (type == SCTP_V4_FLOW || (rule.ring_cookie >= kRings && rule.ring_cookie + 1 != 0)) {
        return EINVAL;
    }
    if (type == TCP_V6_FLOW) rule.m_u.tcp_ip6_spec.tclass = 0;  // which it does not say
    table->used[rule.location] = true;
    table->rules[rule.location] = rule;
    return 0;
}

int Answer(Table* table, ethtool_rxnfc* command) {
    if (command->cmd == ETHTOOL_GFLAGS) {
        reinterpret_cast<ethtool_value*>(command)->data = ETH_FLAG_NTUPLE;
        return 0;
    }
    const uint32_t location = command->fs.location;
    switch (command->cmd) {
        case ETHTOOL_GRXRINGS: command->data = kRings; return 0;
        case ETHTOOL_GRXCLSRLCNT:
        case ETHTOOL_GRXCLSRLALL:
            command->rule_cnt = 0;
            command->data = command->cmd == ETHTOOL_GRXCLSRLALL ? kLocations : 0;
            for (uint32_t i = 0; i < kLocations; ++i) {
                if (!table->used[i]) continue;
                if (command->data != 0) command->rule_locs[command->rule_cnt] = i;
                ++command->rule_cnt;
            }
            return 0;
        case ETHTOOL_SRXCLSRLINS:
            return location < kLocations ? Insert(table, command->fs) : EINVAL;
        default: break;
    }
    if (location >= kLocations || !table->used[location]) return ENOENT;
    command->fs = table->rules[location];
    if (command->cmd == ETHTOOL_SRXCLSRLDEL) table->used[location] = false;
    return 0;
}

bool IsAnswered(uint32_t command) {
    switch (command) {
        case ETHTOOL_GFLAGS:
        case ETHTOOL_GRXRINGS:
        case ETHTOOL_GRXCLSRLCNT:
        case ETHTOOL_GRXCLSRLALL:
        case ETHTOOL_GRXCLSRULE:
        case ETHTOOL_SRXCLSRLINS:
        case ETHTOOL_SRXCLSRLDEL: return true;
        default: return false;
    }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request,
                                                            ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    static const auto real =
        reinterpret_cast<int (*)(int, unsigned long, void*)>(dlsym(RTLD_NEXT, "ioctl"));
    const char* folder = std::getenv("RECEIVE_RULES");
    auto* asked = static_cast<ifreq*>(argument);
    if (request != SIOCETHTOOL || folder == nullptr ||
        !IsAnswered(*reinterpret_cast<uint32_t*>(asked->ifr_data))) {
        return real(descriptor, request, argument);
    }
    const std::string path = std::string(folder) + "/" + asked->ifr_name;
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (file < 0) return real(descriptor, request, argument);
    if (ftruncate(file, sizeof(Table)) != 0) std::abort();
    void* map = mmap(nullptr, sizeof(Table), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    const int failure =
        Answer(static_cast<Table*>(map), reinterpret_cast<ethtool_rxnfc*>(asked->ifr_data));
    munmap(map, sizeof(Table));
    close(file);
    errno = failure;
    return failure == 0 ? 0 : -1;
}
