#include "front_end/consolidate.h"

#include <algorithm>
#include <cstdio>

#include "front_end/difference.h"
#include "front_end/host_set.h"

namespace zwcli {
namespace {

void Print(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }

}  // namespace

void Consolidation::Add(const Target&, const std::string& name, Outcome outcome) {
    if (outcome.text.empty() && outcome.exit_status != kOk) return;  // no answer at all
    const auto [place, is_new] = places.try_emplace(std::move(outcome.text), groups.size());
    if (is_new) groups.push_back({&place->first, {}});
    groups[place->second].hosts.push_back(name);
}

void Consolidation::End() {
    std::ranges::stable_sort(groups, std::ranges::greater(),
                             [](const Group& group) { return group.hosts.size(); });
    for (const Group& group : groups) {
        const bool is_reference = &group == &groups.front();
        const std::string hosts = FoldHosts(group.hosts);
        if (options.diff && !is_reference) {
            Print(UnifiedDifference({FoldHosts(groups.front().hosts), *groups.front().text},
                                    {hosts, *group.text}));
        } else if (options.consolidate) {
            const std::string line(15, '-');
            Print(line + "\n" + hosts + " (" + std::to_string(group.hosts.size()) + ")\n" + line +
                  "\n");
            for (const std::string& each : LinesOf(*group.text)) Print(each + "\n");
        }
    }
}

}  // namespace zwcli
