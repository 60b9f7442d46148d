/// Where an agent is: host and port, as people write them together.
#pragma once

#include <cstdint>
#include <string>

namespace zwcli {

struct Target {
    std::string host;
    uint16_t port = 0;

    /// "node7:35001"; an IPv6 address stands in brackets ("[fe80::1%eth0]:35001").
    std::string Name() const;
};

/// Takes "HOST", "HOST:PORT", "[ADDRESS]:PORT" or an address apart; without a port it is the one
/// given. An IPv6 address becomes the text that it usually has. Returns what is wrong, or "".
std::string ParseTarget(const std::string& text, uint16_t usual_port, Target* target);

}  // namespace zwcli
