/// Sets of hosts as operators write them: "node[001-999,1200],rack[1-3]n[01-16]!node007".
/// docs/hosts.md describes the notation.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "front_end/target.h"

namespace zwcli {

/// Each host once, in the order in which they were first named. Hosts are the same in any case.
class HostSet {
  public:
    static constexpr size_t kMost = 1'000'000;

    /// Groups by name, each a set.
    using Groups = std::map<std::string, std::string>;

    /// Hosts are at this port where nothing else is said of them. The groups outlive the set. What
    /// would make it larger than `limit` is refused.
    HostSet(uint16_t usual, const Groups& named_groups, size_t limit = kMost)
        : usual_port(usual), groups(named_groups), most(limit) {}

    /// Adds the hosts that the expression means, or takes them out. Returns what is wrong with it,
    /// and where, or "": then the set may hold a part of it.
    std::string Add(std::string_view expression) { return Read(expression, true); }
    std::string Remove(std::string_view expression);

    std::vector<Target> Hosts() const;

  private:
    /// with_names: files and groups, too.
    std::string Read(std::string_view expression, bool with_names);
    std::string Take(std::string_view term, bool remove, bool with_names);
    std::string TakeGroup(const std::string& name, bool remove);
    std::string TakeFile(const std::string& file, bool remove);
    /// The hosts of a file or a group.
    std::string TakeAll(const HostSet& named, bool remove);
    std::string TakePattern(std::string_view pattern, bool remove);
    std::string TakeHost(const std::string& text, bool remove);
    void Change(const Target& host, bool remove);

    const uint16_t usual_port;
    const Groups& groups;
    const size_t most;
    std::vector<Target> hosts;  // those without a name were taken out
    std::unordered_map<std::string, size_t> places;
};

/// Digits of what counts as a number in a name.
inline constexpr size_t kMostDigits = 18;

/// The host as a set names it: with its port where that is not the usual one.
std::string HostText(const Target& host, uint16_t usual_port);

/// Names folded into one expression: "node[1-3,7]".
std::string FoldHosts(const std::vector<std::string>& names);

}  // namespace zwcli
