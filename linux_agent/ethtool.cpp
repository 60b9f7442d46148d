#include "linux_agent/ethtool.h"

#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "zwmgmt/fixed_text.h"

namespace zmagent {
namespace {

constexpr uint16_t kHeader = 1;             // ETHTOOL_A_..._HEADER of every message
constexpr uint32_t kMostCounters = 65'536;  // that a driver is believed to have

/// A number of words that ends with room for what ethtool's structures end with.
template <class Struct>
class WithRoom {
  public:
    explicit WithRoom(size_t bytes) : words((sizeof(Struct) + bytes + 7) / 8) {}
    Struct* operator->() { return reinterpret_cast<Struct*>(words.data()); }
    void* Bytes() { return words.data(); }

  private:
    std::vector<uint64_t> words;
};

Outcome Ioctl(const std::string& interface_name, void* command) {
    ifreq request = {};
    if (interface_name.size() >= sizeof(request.ifr_name)) return Refusal(ENODEV);
    interface_name.copy(request.ifr_name, sizeof(request.ifr_name) - 1);
    request.ifr_data = static_cast<char*>(command);
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0) return Refusal(errno);
    const int error = ::ioctl(socket, SIOCETHTOOL, &request) == 0 ? 0 : errno;
    ::close(socket);
    return error == 0 ? Outcome{} : Refusal(error);
}

uint32_t CounterCount(const std::string& interface_name) {
    WithRoom<ethtool_sset_info> info(sizeof(uint32_t));
    info->cmd = ETHTOOL_GSSET_INFO;
    info->sset_mask = uint64_t{1} << ETH_SS_STATS;
    if (!Ioctl(interface_name, info.Bytes()).Done() || info->sset_mask == 0) return 0;
    return info->data[0] <= kMostCounters ? info->data[0] : 0;
}

}  // namespace

Bits BitsIn(const Attributes& bitset) {
    Bits bits;
    const bool all_set = bitset.Has(ETHTOOL_A_BITSET_NOMASK);
    bitset.Nest(ETHTOOL_A_BITSET_BITS).ForEachNest([&](const Attributes& bit) {
        bits.push_back({.index = bit.Number32(ETHTOOL_A_BITSET_BIT_INDEX),
                        .name = bit.Text(ETHTOOL_A_BITSET_BIT_NAME),
                        .set = all_set || bit.Has(ETHTOOL_A_BITSET_BIT_VALUE)});
    });
    return bits;
}

void PutBits(Request& request, uint16_t type, const Bits& bits) {
    const auto put_bit = [&](const Bit& bit) {
        request.Text(ETHTOOL_A_BITSET_BIT_NAME, bit.name);
        if (bit.set) request.Flag(ETHTOOL_A_BITSET_BIT_VALUE);
    };
    request.Nest(type, [&] {
        request.Nest(ETHTOOL_A_BITSET_BITS, [&] {
            for (const Bit& bit : bits) {
                request.Nest(ETHTOOL_A_BITSET_BITS_BIT, [&] { put_bit(bit); });
            }
        });
    });
}

Outcome Ethtool::LearnFamily() {
    const genlmsghdr header = {.cmd = CTRL_CMD_GETFAMILY, .version = 1, .reserved = 0};
    Request request(GENL_ID_CTRL, 0, &header, sizeof(header));
    request.Text(CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
    return generic.Ask(request, [&](const nlmsghdr& reply) {
        const Attributes attributes(reply, sizeof(genlmsghdr));
        family = static_cast<uint16_t>(attributes.Number(CTRL_ATTR_FAMILY_ID));
    });
}

Outcome Ethtool::Ask(uint8_t message, uint16_t flags, uint32_t interface_index, const Put& put,
                     const Take& take) {
    if (family == 0) {
        if (Outcome outcome = LearnFamily(); !outcome.Done()) return outcome;
    }
    const genlmsghdr header = {.cmd = message, .version = ETHTOOL_GENL_VERSION, .reserved = 0};
    Request request(family, flags, &header, sizeof(header));
    request.Nest(kHeader, [&] { request.Number32(ETHTOOL_A_HEADER_DEV_INDEX, interface_index); });
    put(request);
    return generic.Ask(request,
                       [&](const nlmsghdr& reply) { take(Attributes(reply, sizeof(genlmsghdr))); });
}

Outcome Ethtool::Read(uint8_t message, uint32_t interface_index, const Take& take) {
    return Ask(
        message, 0, interface_index, [](Request&) {}, take);
}

Outcome Ethtool::Set(uint8_t message, uint32_t interface_index, const Put& put) {
    return Ask(message, NLM_F_ACK, interface_index, put, [](const Attributes&) {});
}

DriverNames Ethtool::DriverOf(const std::string& interface_name) {
    ethtool_drvinfo info = {};
    info.cmd = ETHTOOL_GDRVINFO;
    if (!Ioctl(interface_name, &info).Done()) return {};
    return {.driver = std::string(zwmgmt::FixedText(info.driver)),
            .version = std::string(zwmgmt::FixedText(info.version)),
            .firmware = std::string(zwmgmt::FixedText(info.fw_version))};
}

Counters Ethtool::CountersOf(const std::string& interface_name) {
    // A driver may have more of them by the time they are read, and writes them all: room for that.
    const uint32_t count = CounterCount(interface_name);
    const size_t room = 2 * count + 1'024;
    if (count == 0) return {};
    WithRoom<ethtool_gstrings> names(room * ETH_GSTRING_LEN);
    names->cmd = ETHTOOL_GSTRINGS;
    names->string_set = ETH_SS_STATS;
    names->len = count;
    WithRoom<ethtool_stats> values(room * sizeof(uint64_t));
    values->cmd = ETHTOOL_GSTATS;
    values->n_stats = count;
    if (!Ioctl(interface_name, names.Bytes()).Done() ||
        !Ioctl(interface_name, values.Bytes()).Done()) {
        return {};
    }
    Counters counters;
    for (uint32_t i = 0; i < std::min(names->len, values->n_stats); ++i) {
        const uint8_t* name = names->data + i * ETH_GSTRING_LEN;
        counters.emplace_back(zwmgmt::FixedText(name, ETH_GSTRING_LEN), values->data[i]);
    }
    return counters;
}

Outcome Ethtool::RestartAutonegotiation(const std::string& interface_name) {
    ethtool_value command = {.cmd = ETHTOOL_NWAY_RST, .data = 0};
    return Ioctl(interface_name, &command);
}

Outcome Ethtool::Command(const std::string& interface_name, void* command) {
    return Ioctl(interface_name, command);
}

}  // namespace zmagent
