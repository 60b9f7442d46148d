#include "front_end/target.h"

#include <algorithm>
#include <charconv>

namespace zwcli {

std::string Target::Name() const {
    const bool is_ipv6 = host.find(':') != host.npos;
    return (is_ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::string ParseTarget(const std::string& text, uint16_t usual_port, Target* target) {
    *target = {text, usual_port};
    std::string port;
    if (text.starts_with('[')) {
        const size_t end = text.find(']');
        if (end == text.npos) return "\"" + text + "\" lacks its closing bracket";
        target->host = text.substr(1, end - 1);
        port = text.substr(end + 1);
    } else if (std::ranges::count(text, ':') == 1) {
        target->host = text.substr(0, text.find(':'));
        port = text.substr(text.find(':'));
    }
    if (target->host.empty()) return "\"" + text + "\" names no host";
    if (port.empty()) return "";
    const char* const end = port.data() + port.size();
    const auto number = std::from_chars(port.data() + 1, end, target->port);
    if (port[0] == ':' && number.ec == std::errc() && number.ptr == end && target->port != 0) {
        return "";
    }
    return "\"" + text + "\" does not end in a port (1 to 65535)";
}

}  // namespace zwcli
