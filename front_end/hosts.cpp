#include "front_end/hosts.h"

#include <cstdio>

#include "commands/texts.h"
#include "front_end/host_set.h"
#include "front_end/own_commands.h"
#include "front_end/say.h"
#include "output/json.h"

namespace zwcli {
namespace {

void PrintJson(const std::vector<std::string>& names, bool indented) {
    std::string piece;
    zwmgmt::TextSink sink(&piece, stdout);
    zwmgmt::JsonWriter json(sink, indented);
    json.BeginObject();
    json.Key("command");
    json.Text("hosts");
    json.Key("result");
    json.BeginObject();
    json.Key("count");
    json.Unsigned(names.size());
    json.Key("folded");
    json.Text(FoldHosts(names));
    json.Key("hosts");
    json.BeginArray();
    for (const std::string& name : names) json.Text(name);
    json.EndArray();
    json.EndObject();
    json.Key("exit_status");
    json.Unsigned(kOk);
    json.EndObject();
    sink.Add('\n');
    sink.Flush();
}

}  // namespace

ExitStatus HostsCommand(const Options& options, const std::vector<std::string>& words) {
    const bool fold = !words.empty() && zwmgmt::SameIgnoringCase(words[0], "fold");
    if (words.size() == (fold ? 1 : 0)) return Fail(kUsage, "expected: " + UsageOf("hosts"));
    if (options.format == Format::kCsv || options.format == Format::kTable) {
        return Fail(kUsage, "hosts has the formats text, json and jsonl");
    }
    HostSet set(options.port, options.groups);
    for (size_t i = fold ? 1 : 0; i < words.size(); ++i) {
        const std::string wrong = set.Add(words[i]);
        if (!wrong.empty()) return Fail(kUsage, words[i] + ": " + wrong);
    }
    if (const std::string wrong = Exclude(options, &set); !wrong.empty()) {
        return Fail(kUsage, wrong);
    }
    std::vector<std::string> names;
    for (const Target& host : set.Hosts()) names.push_back(HostText(host, options.port));
    if (options.format != Format::kText) {
        PrintJson(names, options.format == Format::kJson);
    } else if (fold) {
        std::printf("%s\n", FoldHosts(names).c_str());
    } else {
        for (const std::string& name : names) std::printf("%s\n", name.c_str());
    }
    return kOk;
}

std::string Exclude(const Options& options, HostSet* set) {
    if (!options.exclude) return "";
    const std::string wrong = set->Remove(*options.exclude);
    return wrong.empty() ? "" : "--exclude: " + wrong;
}

std::string TargetsOf(const Options& options, std::vector<Target>* targets) {
    if (!options.hosts) return options.exclude ? "--exclude is for --hosts" : "";
    HostSet set(options.port, options.groups);
    std::string wrong = set.Add(*options.hosts);
    if (!wrong.empty()) return "--hosts: " + wrong;
    wrong = Exclude(options, &set);
    *targets = set.Hosts();
    return wrong.empty() && targets->empty() ? "--hosts: no host is left" : wrong;
}

}  // namespace zwcli
