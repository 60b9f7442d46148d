#include "session/race.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace zwmgmt {
namespace {

using Clock = std::chrono::steady_clock;

/// How long an attempt has for itself before the next begins beside it.
constexpr platform::Milliseconds kHeadStart{250};
constexpr platform::Milliseconds kStopInterval{50};  // in which a stop is looked for

}  // namespace

size_t TakeTurns(std::span<const platform::Address> found, std::span<platform::Address> ordered) {
    const auto next_of = [&](auto from, bool of_first_family) {
        return std::find_if(from, found.end(), [&](const platform::Address& address) {
            return (address.family == found[0].family) == of_first_family;
        });
    };
    auto first = found.begin(), other = next_of(found.begin(), false);
    size_t count = 0;
    while (count < ordered.size() && (first != found.end() || other != found.end())) {
        const bool takes_first = other == found.end() || (first != found.end() && count % 2 == 0);
        auto& turn = takes_first ? first : other;
        ordered[count++] = *turn;
        turn = next_of(turn + 1, takes_first);
    }
    return count;
}

ConnectionRace::ConnectionRace(std::span<const platform::Address> addresses, uint16_t agent_port)
    : port(agent_port) {
    platform::Address ordered[kMostAddresses];
    count = TakeTurns(addresses, ordered);
    for (size_t i = 0; i < count; ++i) attempts[i].address = ordered[i];
}

ConnectionRace::~ConnectionRace() {
    for (Attempt& attempt : Begun()) Close(&attempt);
}

platform::SocketHandle ConnectionRace::Run(platform::Milliseconds limit, const Stop* stop) {
    const auto deadline = Clock::now() + limit;
    auto next_begin = Clock::now();
    for (;;) {
        platform::SocketHandle sockets[kMostAddresses];
        const size_t running = CollectSockets(sockets);
        const auto now = Clock::now();
        if (stop != nullptr && stop->IsAsked()) return platform::kNoSocket;
        if (now >= deadline || (running == 0 && begun == count)) return platform::kNoSocket;
        if (begun < count && (running == 0 || now >= next_begin)) {
            if (Begin(&attempts[begun++])) next_begin = now + kHeadStart;
            continue;
        }
        auto until = begun < count ? std::min(next_begin, deadline) : deadline;
        if (stop != nullptr) until = std::min(until, now + kStopInterval);
        platform::WaitForAny({sockets, running}, platform::Direction::kWrite,
                             std::chrono::ceil<platform::Milliseconds>(until - now));
        for (Attempt& attempt : Begun()) {
            constexpr platform::Milliseconds kNow{0};
            if (attempt.socket == platform::kNoSocket ||
                platform::WaitFor(attempt.socket, platform::Direction::kWrite, kNow) ==
                    platform::WaitResult::kTimeout) {
                continue;
            }
            if (platform::EndConnecting(attempt.socket, &attempt.outcome)) {
                winner = static_cast<size_t>(&attempt - attempts);
                return std::exchange(attempt.socket, platform::kNoSocket);
            }
            Close(&attempt);
            next_begin = now;
        }
    }
}

/// False when the attempt has failed at once.
bool ConnectionRace::Begin(Attempt* attempt) {
    attempt->outcome = {"no answer in time"};
    attempt->socket = platform::CreateSocket(attempt->address.family, &attempt->outcome);
    if (attempt->socket == platform::kNoSocket) return false;
    had_socket = true;
    if (platform::BeginConnecting(attempt->socket, attempt->address, port, &attempt->outcome)) {
        return true;
    }
    Close(attempt);
    return false;
}

void ConnectionRace::Close(Attempt* attempt) {
    if (attempt->socket != platform::kNoSocket) platform::CloseSocket(attempt->socket);
    attempt->socket = platform::kNoSocket;
}

size_t ConnectionRace::CollectSockets(platform::SocketHandle* sockets) {
    size_t running = 0;
    for (const Attempt& attempt : Begun()) {
        if (attempt.socket != platform::kNoSocket) sockets[running++] = attempt.socket;
    }
    return running;
}

void ConnectionRace::Explain(const char* host, FailureDetail* detail) const {
    if (count == 1 && std::string_view(platform::FormatAddress(attempts[0].address).text) == host) {
        return detail->Set("%s", attempts[0].outcome.text);
    }
    *detail = {};
    for (size_t i = 0, used = 0; i < count; ++i) {
        char entry[sizeof(platform::AddressText) + sizeof(platform::Reason) + sizeof("; : ")];
        const auto length = static_cast<size_t>(std::snprintf(
            entry, sizeof(entry), "%s%s: %s", i > 0 ? "; " : "",
            platform::FormatAddress(attempts[i].address).text, attempts[i].outcome.text));
        // Nobody is named by halves: those for whom there is no room are counted.
        const size_t for_the_rest = i + 1 < count ? sizeof("; and 15 more") : 1;
        if (used + length + for_the_rest > sizeof(detail->text)) {
            std::snprintf(detail->text + used, sizeof(detail->text) - used, "; and %d more",
                          static_cast<int>(count - i));
            return;
        }
        std::memcpy(detail->text + used, entry, length + 1);
        used += length;
    }
}

}  // namespace zwmgmt
