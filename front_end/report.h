/// What becomes of many hosts: their answers on standard output, what is said of them on standard
/// error, and one exit status.
#pragma once

#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "front_end/host_writer.h"

namespace zwcli {

class Report {
  public:
    Report(const Options& run_options, const std::vector<Target>& run_hosts,
           const Command& command);

    /// Opens the file that the options name for those that fail, if any; why that fails, or "".
    std::string KeepFailed();

    /// The outcome of a host, once a host.
    void Add(size_t host, Outcome outcome);

    size_t Done() const { return hosts.size() - left; }
    size_t Failed() const { return failed.size(); }

    /// After the last: sums up.
    ExitStatus End();

  private:
    /// Texts that are said, each with the hosts that it is said of.
    class Remarks {
      public:
        void Add(const std::string& text, size_t host);
        void Say(const Report& report) const;

      private:
        std::map<std::string, size_t> places;
        std::vector<std::pair<const std::string*, std::vector<size_t>>> rows;
    };

    void Write(size_t host, Outcome outcome);
    void Note(size_t host, const Outcome& outcome);
    std::string Folded(const std::vector<size_t>& of) const;

    const Options& options;
    const std::vector<Target>& hosts;
    std::unique_ptr<HostWriter> writer;
    size_t left;
    size_t next = 0;                    // in the order given
    std::map<size_t, Outcome> waiting;  // for their turn
    std::vector<size_t> failed;
    std::ofstream failed_file;
    Remarks notes;
    Remarks reasons;
    ExitStatus worst = kOk;
};

}  // namespace zwcli
