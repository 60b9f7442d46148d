/// Equal answers once, under the hosts that gave them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "front_end/host_writer.h"

namespace zwcli {

class Consolidation : public HostWriter {
  public:
    explicit Consolidation(const Options& run_options) : options(run_options) {}

    void Add(const Target& host, const std::string& name, Outcome outcome) override;
    void End() override;

  private:
    struct Group {
        const std::string* text;
        std::vector<std::string> hosts;
    };

    const Options& options;
    std::map<std::string, size_t> places;
    std::vector<Group> groups;
};

}  // namespace zwcli
