/// Pings and trace routes, by the system's own programs, in the background. A user's outcome is
/// kept until the user begins another one: command lines ask for it in a session of its own.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>

#include "agent/host_model.h"
#include "zwmgmt/records/net.h"

namespace zmagent {

namespace agent = zwmgmt::agent;

/// What a program printed, as a reply.
agent::Reply PingReply(const std::string& output);
agent::Reply TraceReply(const std::string& output);

class Probes {
  public:
    ~Probes();

    /// The answer to an opcode of the net service; nothing for one that is no probe's.
    std::optional<agent::Reply> Answer(const std::string& user, uint16_t opcode,
                                       std::span<const uint8_t> data);

  private:
    struct Probe {
        uint16_t opcode = 0;
        std::thread thread;
        std::optional<agent::Reply> outcome = {};  // none: it still runs
    };

    agent::Reply Start(const std::string& user, uint16_t opcode, std::span<const uint8_t> data);
    agent::Reply OutcomeOf(const std::string& user, uint16_t opcode);
    bool MakeRoom();

    std::atomic<bool> stopping = false;
    std::mutex lock;
    std::map<std::string, std::unique_ptr<Probe>> probes;  // by user
};

}  // namespace zmagent
