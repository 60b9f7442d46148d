/// A network of the test's own, and the real agent's host model in it, asked by the front end.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <nlohmann/json.hpp>

#include "linux_agent/kernel_host.h"
#include "tests/support.h"

namespace testing_support {

using nlohmann::json;

inline ProcessResult RunTool(const std::string& command) {
    return RunProcess(Words("/usr/bin/env " + command));
}
inline std::string Output(const std::string& command) { return RunTool(command).out; }

/// A network of the test's own; false where it may not have one.
inline bool LeaveNetwork() {
    return unshare(CLONE_NEWNET | CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("sysfs", "/sys", "sysfs", 0, nullptr) == 0;
}

/// Interfaces that need no hardware.
inline constexpr const char* kNetwork[] = {
    "ip link set lo up",          "ip link add v0 type veth peer name v1",
    "ip link set v0 up",          "ip link set v1 up",
    "ip link add b0 type bridge", "ip link add i0 type ifb",
    "ip tuntap add t0 mode tap",
};

/// An agent of this machine, and the front end's answers.
class KernelAgent {
  public:
    explicit KernelAgent(zmagent::KernelOptions options) : host(std::move(options)), agent(host) {}

    json Ask(const std::string& words) {
        std::vector<std::string> all = {"--format", "json"};
        for (const std::string& word : Words(words)) all.push_back(word);
        const ProcessResult told = Zwcli(agent.Port(), all);
        EXPECT_NE(told.out, "") << words << ": " << told.err;
        return told.out.empty() ? json::object() : json::parse(told.out);
    }
    json List(const std::string& words) { return Ask(words)["result"]; }
    int Status(const std::string& words) { return Ask(words)["status"]; }

    /// Why the last request failed: it goes to the agent's log alone.
    const std::string& Reason() const { return host.reason; }

    struct Host : zmagent::KernelHost {
        using zmagent::KernelHost::KernelHost;
        agent::Reply Answer(uint8_t service, uint16_t opcode,
                            std::span<const uint8_t> data) override {
            agent::Reply reply = zmagent::KernelHost::Answer(service, opcode, data);
            reason = reply.reason;
            return reply;
        }
        std::string reason;
    };
    Host host;

  private:
    TestAgent agent;
};

}  // namespace testing_support
