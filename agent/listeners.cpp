#include "agent/listeners.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace zwmgmt::agent {
namespace {

/// How often a free port is looked for that is free for every address.
constexpr int kPortTrials = 100;

/// A word for two addresses, of which the IPv6 one counts where the machine has it.
struct Word {
    const char* word;
    platform::Address ipv4;
    platform::Address ipv6;
};

constexpr Word kWords[] = {
    {"localhost", platform::kIpv4Loopback, platform::kIpv6Loopback},
    {"any", {}, {.family = platform::Family::kIpv6}},
};

bool MachineHas(const platform::Address& address) {
    uint16_t any = 0;
    const auto socket = platform::Listen(address, &any);
    if (socket != platform::kNoSocket) platform::CloseSocket(socket);
    return socket != platform::kNoSocket;
}

/// What a text says to listen on, each address once; false when it says nothing of the kind.
bool AddAddresses(std::string text, std::vector<platform::Address>* addresses) {
    std::vector<platform::Address> said;
    const auto* word = std::ranges::find(kWords, text, &Word::word);
    if (word != std::end(kWords)) {
        said = {word->ipv4};
        if (MachineHas(word->ipv6)) said.push_back(word->ipv6);
    } else {
        if (text.starts_with('[') && text.ends_with(']')) text = text.substr(1, text.size() - 2);
        const auto address = platform::ParseAddress(text.c_str());
        if (!address) return false;
        said = {*address};
    }
    for (const platform::Address& address : said) {
        if (std::ranges::count(*addresses, address) == 0) addresses->push_back(address);
    }
    return true;
}

}  // namespace

bool Listeners::Open(const std::vector<std::string>& listen, uint16_t wanted_port,
                     std::string* error) {
    std::vector<platform::Address> addresses;
    for (const std::string& text : listen) {
        if (AddAddresses(text, &addresses)) continue;
        *error = "no address of this machine, nor localhost or any: " + text;
        return false;
    }
    if (addresses.empty() || addresses.size() > platform::kMostSockets) {
        *error = "cannot listen on " + std::to_string(addresses.size()) + " addresses";
        return false;
    }
    // A free port is the first address's; another's may have it in use.
    for (int trials = wanted_port == 0 ? kPortTrials : 1; trials > 0; --trials) {
        if (OpenAll(addresses, wanted_port, error)) return true;
    }
    return false;
}

/// Opens all listeners or none.
bool Listeners::OpenAll(const std::vector<platform::Address>& addresses, uint16_t wanted_port,
                        std::string* error) {
    port = wanted_port;
    for (const platform::Address& address : addresses) {
        platform::Reason reason;
        const auto listener = platform::Listen(address, &port, &reason);
        if (listener == platform::kNoSocket) {
            *error = std::string("cannot listen on ") + platform::FormatAddress(address).text +
                     " port " + std::to_string(port) + ": " + reason.text;
            Close();
            return false;
        }
        sockets.push_back(listener);
    }
    return true;
}

void Listeners::Close() {
    for (const auto socket : sockets) platform::CloseSocket(socket);
    sockets.clear();
}

}  // namespace zwmgmt::agent
