#include "front_end/report.h"

#include <cerrno>
#include <cstring>

#include "front_end/host_set.h"
#include "front_end/say.h"

namespace zwcli {
namespace {

/// What is said of a host, as it can be said of many.
std::string WithoutHost(std::string text, const Target& host) {
    const std::string name = host.host + " port " + std::to_string(host.port);
    for (size_t at; (at = text.find(name)) != text.npos;) {
        text.replace(at, name.size(), "the agent");
    }
    return text;
}

}  // namespace

Report::Report(const Options& run_options, const std::vector<Target>& run_hosts,
               const Command& command)
    : options(run_options),
      hosts(run_hosts),
      writer(HostWriter::Make(run_options, command)),
      left(run_hosts.size()) {}

std::string Report::KeepFailed() {
    if (options.failed_to.empty()) return "";
    failed_file.open(options.failed_to, std::ios::binary);
    return failed_file ? "" : "cannot write " + options.failed_to + ": " + std::strerror(errno);
}

void Report::Add(size_t host, Outcome outcome) {
    --left;
    Note(host, outcome);
    if (!options.ordered) return Write(host, std::move(outcome));
    waiting.emplace(host, std::move(outcome));
    for (auto turn = waiting.begin(); turn != waiting.end() && turn->first == next; ++next) {
        Write(next, std::move(turn->second));
        turn = waiting.erase(turn);
    }
}

void Report::Write(size_t host, Outcome outcome) {
    writer->Add(hosts[host], HostText(hosts[host], options.port), std::move(outcome));
}

/// What is said last of a host that failed is why.
void Report::Note(size_t host, const Outcome& outcome) {
    const ExitStatus status = outcome.exit_status;
    std::vector<std::string> said = outcome.said;
    if (status != kOk) {
        failed.push_back(host);
        worst = Worse(worst, status);
        if (said.empty()) said.push_back("exit status " + std::to_string(status));
        reasons.Add(WithoutHost(said.back(), hosts[host]), host);
        said.pop_back();
    }
    for (const std::string& text : said) notes.Add(WithoutHost(text, hosts[host]), host);
}

ExitStatus Report::End() {
    writer->End();
    notes.Say(*this);
    reasons.Say(*this);
    const size_t succeeded = hosts.size() - failed.size();
    zwcli::Say(std::to_string(succeeded) + " of " + std::to_string(hosts.size()) +
               " hosts succeeded" + (failed.empty() ? "" : "; failed: " + Folded(failed)));
    for (const size_t host : failed) failed_file << HostText(hosts[host], options.port) << '\n';
    failed_file.close();
    if (!options.failed_to.empty() && !failed_file) {
        return zwcli::Fail(kFailed, "cannot write " + options.failed_to);
    }
    const bool enough = succeeded * 100 >= hosts.size() * options.min_success;
    return enough && worst != kInterrupted ? kOk : worst;
}

std::string Report::Folded(const std::vector<size_t>& of) const {
    std::vector<std::string> names;
    for (const size_t host : of) names.push_back(HostText(hosts[host], options.port));
    return FoldHosts(names);
}

void Report::Remarks::Add(const std::string& text, size_t host) {
    const auto [place, is_new] = places.try_emplace(text, rows.size());
    if (is_new) rows.push_back({&place->first, {}});
    rows[place->second].second.push_back(host);
}

void Report::Remarks::Say(const Report& report) const {
    for (const auto& [text, of] : rows) zwcli::Say(report.Folded(of) + ": " + *text);
}

}  // namespace zwcli
