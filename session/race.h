/// Connecting to a host of several addresses, as RFC 8305 has it ("happy eyeballs"): one attempt
/// after the other is begun without waiting for those before to end, and the first that connects
/// wins.
#pragma once

#include <cstdint>
#include <span>

#include "platform/socket.h"
#include "session/session_result.h"
#include "zwmgmt/stop.h"

namespace zwmgmt {

/// How many addresses of a host are tried.
inline constexpr size_t kMostAddresses = platform::kMostSockets;

/// The order to try them in: the families take turns, the first address's first. Returns how many
/// there are, as many as there is room for.
size_t TakeTurns(std::span<const platform::Address> found, std::span<platform::Address> ordered);

/// Closes all but the winner.
class ConnectionRace {
  public:
    ConnectionRace(std::span<const platform::Address> addresses, uint16_t agent_port);
    ~ConnectionRace();
    ConnectionRace(const ConnectionRace&) = delete;
    ConnectionRace& operator=(const ConnectionRace&) = delete;

    /// The connected socket, which is the caller's; kNoSocket when there is none within the limit,
    /// or before the stop, if any, is asked for.
    platform::SocketHandle Run(platform::Milliseconds limit, const Stop* stop = nullptr);

    /// Who has won; before that, and where nobody has, who began.
    const platform::Address& Winner() const { return attempts[winner].address; }
    /// Whether there was a socket for any of them.
    bool HadSocket() const { return had_socket; }
    /// Why there is no winner: each address with its reason; the reason alone where the only
    /// address is what the host was given by.
    void Explain(const char* host, FailureDetail* detail) const;

  private:
    struct Attempt {
        platform::Address address;
        platform::SocketHandle socket = platform::kNoSocket;  // while it is under way
        platform::Reason outcome = {"not tried in time"};
    };

    std::span<Attempt> Begun() { return {attempts, begun}; }
    bool Begin(Attempt* attempt);
    void Close(Attempt* attempt);
    size_t CollectSockets(platform::SocketHandle* sockets);

    uint16_t port;
    Attempt attempts[kMostAddresses];
    size_t count = 0;
    size_t begun = 0;
    size_t winner = 0;
    bool had_socket = false;
};

}  // namespace zwmgmt
