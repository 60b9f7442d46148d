#include "front_end/trust.h"

#include "platform/host.h"
#include "session/trust_store.h"

namespace zwcli {
namespace {

std::string Sentence(const Target& target) {
    return target.host + " port " + std::to_string(target.port);
}

/// The file of the authorities of agents; "": the system's own.
std::string Authorities(const Options& options) {
    if (!options.authorities.empty()) return options.authorities;
    char path[4096];
    return zwmgmt::InstalledTrustStore(path, sizeof(path)) ? path : "";
}

}  // namespace

std::string KnownAgentsFile(const Options& options) {
    if (!options.known_agents.empty()) return options.known_agents;
    char path[4096];
    return zwmgmt::platform::UserFilePath("known_agents", path, sizeof(path)) ? path : "";
}

std::string PrepareTls(const Options& options, ZwMgmt_interface& session) {
    const bool prepared =
        (options.least_tls != "1.3" || session.SetLeastTlsVersion(3) == zwmgmt::kSuccess) &&
        (options.client_key.empty() ||
         session.UseClientCertificate(options.client_certificate.c_str(),
                                      options.client_key.c_str()) == zwmgmt::kSuccess);
    return prepared ? "" : session.FailureDetail();
}

Trust::Trust(const Options& run_options)
    : options(run_options),
      target{options.host, options.port},
      agents(KnownAgentsFile(run_options)) {}

std::string Trust::Guard(ZwMgmt_interface& session) {
    if (!options.key_log.empty()) {
        if (session.LogTlsKeys(options.key_log.c_str()) != zwmgmt::kSuccess) {
            return session.FailureDetail();
        }
        notes.push_back("warning: whoever has " + options.key_log + " can read this session");
    }
    const std::string unfit = PrepareTls(options, session);
    if (!unfit.empty()) return unfit;
    switch (options.verify) {
        case Verify::kOff:
            notes.push_back(
                "warning: anybody could be the agent: nothing is verified (--verify off)");
            return "";
        case Verify::kAuthority: {
            const std::string file = Authorities(options);
            const char* authorities = file.empty() ? nullptr : file.c_str();
            return session.VerifyByAuthority(authorities) == zwmgmt::kSuccess
                       ? ""
                       : session.FailureDetail();
        }
        case Verify::kKnown:
        case Verify::kStrict: break;
    }
    session.VerifyByCaller(
        [](void* self, const zwmgmt::Peer& peer) {
            return static_cast<Trust*>(self)->Accepts(peer);
        },
        this);
    return "";
}

bool Trust::Accepts(const zwmgmt::Peer& peer) {
    const KnownAgents::Answer answer = agents.LookUp(target, peer.fingerprint);
    switch (answer.verdict) {
        case KnownAgents::kKnown: return true;
        case KnownAgents::kUnknown: return Meet(peer);
        case KnownAgents::kTrouble:
            return Refuse("nothing was sent to " + Sentence(target) + ": " + answer.trouble);
        case KnownAgents::kOtherKey: break;
    }
    return Refuse(
        "the key of " + Sentence(target) + " has changed; nothing was sent to it\nknown:   " +
        answer.known.fingerprint + " (" + agents.File() + " line " +
        std::to_string(answer.known.line) + ")\noffered: " + peer.fingerprint +
        "\nIt may be somebody else, or the agent has a new key. If it has, and this is it:"
        "\n    korvane_zwcli agents remove " +
        target.Name() + "\n    korvane_zwcli agents add " + target.Name() + " " + peer.fingerprint);
}

/// The first contact with an agent.
bool Trust::Meet(const zwmgmt::Peer& peer) {
    const std::string key = peer.fingerprint;
    if (options.verify == Verify::kStrict) {
        return Refuse(Sentence(target) + " is not known; nothing was sent to it\noffered: " + key +
                      "\nIf this is its key:\n    korvane_zwcli agents add " + target.Name() + " " +
                      key);
    }
    const KnownAgents::Answer answer = agents.Record(target, key, options.hash_agents);
    switch (answer.verdict) {
        case KnownAgents::kUnknown:
            notes.push_back("first contact with " + Sentence(target) + ": its key " + key +
                            " is kept in " + agents.File());
            return true;
        case KnownAgents::kTrouble:
            notes.push_back("warning: first contact with " + Sentence(target) + ": its key " + key +
                            " is not kept: " + answer.trouble);
            return true;
        // Somebody else has been first, between the look and the record.
        case KnownAgents::kKnown: return true;
        case KnownAgents::kOtherKey: break;
    }
    return Accepts(peer);
}

bool Trust::Refuse(const std::string& why) {
    refusal = why;
    return false;
}

}  // namespace zwcli
