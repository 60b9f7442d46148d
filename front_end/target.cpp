#include "front_end/target.h"

#include <algorithm>
#include <charconv>

#include "platform/address.h"

namespace zwcli {
namespace {

/// An IPv6 address as everybody writes it, so that it is the same agent's however it was written;
/// "" where the text is none. A zone need not be one that this machine has today.
std::string UsualIpv6(const std::string& text) {
    if (const auto address = zwmgmt::platform::ParseAddress(text.c_str())) {
        return zwmgmt::platform::FormatAddress(*address).text;
    }
    const auto cut = zwmgmt::platform::CutZone(text.c_str());
    zwmgmt::platform::Address address = {.family = zwmgmt::platform::Family::kIpv6};
    if (cut.zone == nullptr || cut.zone[0] == '\0' ||
        !zwmgmt::platform::ParseAddress(address.family, cut.address, address.bytes)) {
        return "";
    }
    return std::string(zwmgmt::platform::FormatAddress(address).text) + "%" + cut.zone;
}

/// Whether a text can stand for a host on a line and in brackets.
bool MayBeHost(const std::string& text) {
    return !text.empty() && text[0] != '#' && text[0] != '|' &&
           std::ranges::none_of(
               text, [](unsigned char c) { return c <= ' ' || c == 0x7F || c == '[' || c == ']'; });
}

}  // namespace

std::string Target::Name() const {
    const bool is_ipv6 = host.find(':') != host.npos;
    return (is_ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::string ParseTarget(const std::string& text, uint16_t usual_port, Target* target) {
    *target = {text, usual_port};
    const bool in_brackets = text.starts_with('[');
    std::string port;
    if (in_brackets) {
        const size_t end = text.find(']');
        if (end == text.npos) return "\"" + text + "\" lacks its closing bracket";
        target->host = text.substr(1, end - 1);
        port = text.substr(end + 1);
    } else if (std::ranges::count(text, ':') == 1) {
        target->host = text.substr(0, text.find(':'));
        port = text.substr(text.find(':'));
    }
    if (!MayBeHost(target->host)) return "\"" + text + "\" names no host";
    if (in_brackets || target->host.find(':') != text.npos) {
        target->host = UsualIpv6(target->host);
        if (target->host.empty()) return "\"" + text + "\" is no IPv6 address";
    }
    if (port.empty()) return "";
    const char* const end = port.data() + port.size();
    const auto number = std::from_chars(port.data() + 1, end, target->port);
    if (port[0] == ':' && number.ec == std::errc() && number.ptr == end && target->port != 0) {
        return "";
    }
    return "\"" + text + "\" does not end in a port (1 to 65535)";
}

}  // namespace zwcli
