#include "front_end/completion_hosts.h"

#include <set>

#include "front_end/host_set.h"
#include "front_end/known_agents.h"
#include "front_end/trust.h"

namespace zwcli {
namespace {

constexpr size_t kMostHosts = 1000;

}  // namespace

void AddHosts(const Options& options, CompletionSources* sources) {
    std::vector<KnownKey> known;
    std::string trouble;
    KnownAgents(KnownAgentsFile(options)).Read(&known, &trouble);
    std::set<std::string> names;
    for (const KnownKey& key : known) {
        Target host;
        if (key.name[0] == '|' || !ParseTarget(key.name, options.port, &host).empty()) continue;
        names.insert(HostText(host, options.port));
    }
    for (const auto& [name, hosts] : options.groups) {
        sources->groups.push_back({"@" + name, hosts});
        HostSet set(options.port, options.groups, kMostHosts);
        if (names.size() >= kMostHosts || !set.Add("@" + name).empty()) continue;
        for (const Target& host : set.Hosts()) names.insert(HostText(host, options.port));
    }
    for (const std::string& name : names) sources->hosts.push_back({name});
}

}  // namespace zwcli
