/// What many hosts answer, or one host at many times, on standard output: a form a format.
#pragma once

#include <memory>
#include <string>

#include "front_end/options.h"
#include "front_end/run.h"
#include "front_end/target.h"

namespace zwcli {

class HostWriter {
  public:
    virtual ~HostWriter() = default;

    /// name: of the host, as sets name it; of a watch the time.
    virtual void Add(const Target& host, const std::string& name, Outcome outcome) = 0;
    /// After the last.
    virtual void End() {}

    /// command: the first; of a format with columns it is the only one.
    static std::unique_ptr<HostWriter> Make(const Options& options, const Command& command);
};

/// The options as they are for one host of many.
Options OptionsFor(const Options& options, const Target& host);

}  // namespace zwcli
