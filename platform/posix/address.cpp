#include "platform/address.h"

#include <arpa/inet.h>

namespace zwmgmt::platform {
namespace {

int NumberOf(Family family) { return family == Family::kIpv4 ? AF_INET : AF_INET6; }

}  // namespace

bool ParseAddress(Family family, const char* text, uint8_t* bytes) {
    return inet_pton(NumberOf(family), text, bytes) == 1;
}

bool FormatAddress(Family family, const uint8_t* bytes, char* text, size_t capacity) {
    return inet_ntop(NumberOf(family), bytes, text, static_cast<socklen_t>(capacity)) != nullptr;
}

}  // namespace zwmgmt::platform
