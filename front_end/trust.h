/// Whether an agent is talked to: what the options ask of its key or certificate.
#pragma once

#include <string>
#include <vector>

#include "front_end/known_agents.h"
#include "front_end/options.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {

/// Judges the agent of one session, which it outlives.
class Trust {
  public:
    explicit Trust(const Options& run_options);
    Trust(const Trust&) = delete;
    Trust& operator=(const Trust&) = delete;

    /// Makes the session ask before it sends anything; the reason when it cannot.
    std::string Guard(ZwMgmt_interface& session);

    /// What there is to say once connecting is over: of a first contact, of an agent that anybody
    /// could be.
    const std::vector<std::string>& Notes() const { return notes; }

    /// Why the agent was refused; "" when it was not, or not by its key.
    const std::string& Refusal() const { return refusal; }

  private:
    bool Accepts(const zwmgmt::Peer& peer);
    bool Meet(const zwmgmt::Peer& peer);
    bool Refuse(const std::string& why);

    const Options& options;
    Target target;
    KnownAgents agents;
    std::vector<std::string> notes;
    std::string refusal;
};

/// Sets the least version of TLS and the client's certificate; the reason when that fails.
std::string PrepareTls(const Options& options, ZwMgmt_interface& session);

/// Where the keys are kept that the options lead to.
std::string KnownAgentsFile(const Options& options);

}  // namespace zwcli
