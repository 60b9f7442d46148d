#include "front_end/agents.h"

#include <algorithm>
#include <cstdio>

#include "commands/texts.h"
#include "front_end/known_agents.h"
#include "front_end/own_commands.h"
#include "front_end/say.h"
#include "front_end/trust.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwcli {
namespace {

using Words = std::vector<std::string>;

/// The key that an agent shows; "" with the reason in *reason. Nothing is sent to it.
std::string KeyOf(const Target& target, const Options& options, std::string* reason) {
    std::vector<char> buffer(zwmgmt::kResultBufferSize);
    std::string key;
    ZwMgmt_interface session(zwmgmt::kNoTrustStore);
    session.VerifyByCaller(
        [](void* shown, const zwmgmt::Peer& peer) {
            *static_cast<std::string*>(shown) = peer.fingerprint;
            return false;
        },
        &key);
    std::string failure = PrepareTls(options, session);
    if (failure.empty()) {
        failure = zwmgmt::StatusText(
            session.CLConnectToServer(target.host.c_str(), "", target.port, buffer.data()));
        const std::string detail = session.FailureDetail();
        if (!detail.empty()) failure += ": " + detail;
    }
    session.CLDisconnectFromServer();
    if (key.empty()) *reason = "cannot see the key of " + target.Name() + ": " + failure;
    return key;
}

ExitStatus List(const KnownAgents& agents, const Options&, const std::vector<Target>&) {
    std::vector<KnownKey> keys;
    std::string trouble;
    if (!agents.Read(&keys, &trouble)) return Fail(kFailed, trouble);
    for (const KnownKey& key : keys) {
        std::printf("%s %s\n", key.name.c_str(), key.fingerprint.c_str());
    }
    return kOk;
}

ExitStatus Scan(const KnownAgents&, const Options& options, const std::vector<Target>& targets) {
    ExitStatus done = kOk;
    for (const Target& target : targets) {
        std::string reason;
        const std::string key = KeyOf(target, options, &reason);
        if (key.empty()) {
            done = Fail(kNoSession, reason);
        } else {
            std::printf("%s %s\n", NameOf(target).c_str(), key.c_str());
        }
    }
    return done;
}

ExitStatus Keep(const KnownAgents& agents, const Options& options, const Target& target,
                const std::string& key) {
    const KnownAgents::Answer answer = agents.Record(target, key, options.hash_agents);
    switch (answer.verdict) {
        case KnownAgents::kUnknown:
            std::printf("%s %s\n", NameOf(target).c_str(), key.c_str());
            return kOk;
        case KnownAgents::kKnown: return kOk;
        case KnownAgents::kTrouble: return Fail(kFailed, answer.trouble);
        case KnownAgents::kOtherKey: break;
    }
    return Fail(kFailed, target.Name() + " is known with another key: " + answer.known.fingerprint +
                             " (" + agents.File() + " line " + std::to_string(answer.known.line) +
                             "); remove it first");
}

ExitStatus Add(const KnownAgents& agents, const Options& options,
               const std::vector<Target>& targets) {
    ExitStatus done = kOk;
    for (const Target& target : targets) {
        std::string reason;
        const std::string key = KeyOf(target, options, &reason);
        const ExitStatus kept =
            key.empty() ? Fail(kNoSession, reason) : Keep(agents, options, target, key);
        done = std::max(done, kept);
    }
    return done;
}

ExitStatus Remove(const KnownAgents& agents, const Options&, const std::vector<Target>& targets) {
    std::string trouble;
    const int removed = agents.Remove(targets, &trouble);
    if (removed < 0) return Fail(kFailed, trouble);
    if (removed == 0) return Fail(kFailed, "nobody of that name is known in " + agents.File());
    return kOk;
}

struct ActionRow {
    const char* word;
    ExitStatus (*act)(const KnownAgents& agents, const Options& options,
                      const std::vector<Target>& targets);
    bool names_agents;
};

constexpr ActionRow kActions[] = {
    {"list", List, false}, {"add", Add, true}, {"remove", Remove, true}, {"scan", Scan, true}};

}  // namespace

ExitStatus AgentsCommand(const Options& options, const Words& words) {
    const auto* row = std::ranges::find_if(kActions, [&](const ActionRow& each) {
        return !words.empty() && zwmgmt::SameIgnoringCase(words[0], each.word);
    });
    if (row == std::end(kActions)) {
        return Fail(kUsage, "agents is for:\n" + UsageOf("agents"));
    }
    if (options.format != Format::kText) return Fail(kUsage, "agents prints text alone");
    const bool key_given = row->act == Add && words.size() == 3 && IsFingerprint(words[2]);
    std::vector<Target> targets;
    for (auto word = words.begin() + 1; word != words.end() - (key_given ? 1 : 0); ++word) {
        if (word->starts_with(zwmgmt::kFingerprintHead)) {
            return Fail(kUsage, "\"" + *word + "\" is not the key of one agent: agents add " +
                                    "HOST[:PORT] SHA256:... with 43 characters takes one of each");
        }
        const std::string wrong = ParseTarget(*word, options.port, &targets.emplace_back());
        if (!wrong.empty()) return Fail(kUsage, wrong);
    }
    if (targets.empty() == row->names_agents) {
        return Fail(kUsage,
                    std::string("agents ") + row->word +
                        (row->names_agents ? " needs HOST[:PORT] ..." : " takes no agents"));
    }
    const KnownAgents agents(KnownAgentsFile(options));
    return key_given ? Keep(agents, options, targets[0], words[2])
                     : row->act(agents, options, targets);
}

}  // namespace zwcli
