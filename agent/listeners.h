/// The sockets that clients are taken from.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/socket.h"

namespace zwmgmt::agent {

class Listeners {
  public:
    Listeners() = default;
    ~Listeners() { Close(); }
    Listeners(const Listeners&) = delete;
    Listeners& operator=(const Listeners&) = delete;

    /// Opens one for each address, or none: IPv4 and IPv6 addresses; "localhost" is 127.0.0.1, and
    /// ::1 where the machine has it, and "any" the same of 0.0.0.0 and ::. Port 0: any that is free
    /// for all. False, with the reason in *error, when that fails. The system's sockets have been
    /// started.
    bool Open(const std::vector<std::string>& listen, uint16_t wanted_port, std::string* error);
    void Close();

    const std::vector<platform::SocketHandle>& Sockets() const { return sockets; }
    uint16_t Port() const { return port; }

  private:
    bool OpenAll(const std::vector<platform::Address>& addresses, uint16_t wanted_port,
                 std::string* error);

    std::vector<platform::SocketHandle> sockets;
    uint16_t port = 0;
};

}  // namespace zwmgmt::agent
