#include "front_end/policy.h"

#include <cstdio>

#include "commands/texts.h"
#include "front_end/own_commands.h"
#include "front_end/say.h"
#include "policies/compiled_rules.h"
#include "policies/format.h"

namespace zwcli {
namespace {

using zwmgmt::policy::CompiledRules;
using zwmgmt::policy::Layout;
using zwmgmt::policy::MarkedLine;
using zwmgmt::policy::Place;

struct PolicyRow {
    const char* word;
    size_t files;
    bool takes_connections;
    bool has_json;
    ExitStatus (*run)(PolicyOutput&, const Options&, const std::vector<const char*>&);
};

constexpr PolicyRow kRows[] = {
    {"check", 1, true, true, CheckPolicy},
    {"explain", 1, false, true, ExplainPolicy},
    {"diff", 2, false, true, DiffPolicies},
    {"fmt", 1, false, false, FormatPolicy},
};

/// "" or what is wrong with the command line.
std::string Judge(const PolicyRow& row, const Options& options, size_t words) {
    if (words < row.files || (words > row.files && !row.takes_connections)) {
        return "expected: " + UsageOf(std::string("policy ") + row.word);
    }
    if (options.connections && !row.takes_connections) return "--connections is for policy check";
    if (options.connections && words > row.files) {
        return "connections are given as words or in a file, not both";
    }
    if (options.format == Format::kCsv || options.format == Format::kTable ||
        !options.fields.empty() || (options.format != Format::kText && !row.has_json)) {
        return std::string("policy ") + row.word + " has the format" +
               (row.has_json ? "s text, json and jsonl, whole" : " text alone");
    }
    return "";
}

}  // namespace

ExitStatus PolicyCommand(const Options& options, const std::vector<std::string>& words) {
    for (const PolicyRow& row : kRows) {
        if (words.empty() || !zwmgmt::SameIgnoringCase(words[0], row.word)) continue;
        const std::string wrong = Judge(row, options, words.size() - 1);
        if (!wrong.empty()) return Fail(kUsage, wrong);
        PolicyOutput output(options, std::string("policy ") + row.word);
        const std::vector<const char*> pointers = PointersTo(words);
        return output.End(row.run(output, options, {pointers.begin() + 1, pointers.end()}));
    }
    return Fail(kUsage, "policy is for:\n" + UsageOf("policy"));
}

ExitStatus FormatPolicy(PolicyOutput& output, const Options& /*options*/,
                        const std::vector<const char*>& words) {
    NamedText policy;
    if (!output.ReadPolicy(words[0], PolicyOutput::NoRules::kAllowed, &policy)) return kUsage;
    const std::string formatted = zwmgmt::policy::Format(policy.text);
    std::fwrite(formatted.data(), 1, formatted.size(), stdout);
    return kOk;
}

PolicyOutput::PolicyOutput(const Options& options, const std::string& command)
    : sink(&piece, stdout),
      json(sink, options.format == Format::kJson),
      is_json(options.format != Format::kText) {
    if (!is_json) return;
    json.BeginObject();
    AddText("command", command);
    json.Key("result");
    json.BeginObject();
}

void PolicyOutput::AddText(const char* key, const std::string& text) { json.Member(key, text); }

void PolicyOutput::AddNumber(const char* key, uint64_t number) { json.Member(key, number); }

void PolicyOutput::AddFlag(const char* key, bool on) {
    json.Key(key);
    json.Flag(on);
}

void PolicyOutput::Complain(const std::string& text) {
    if (is_json) {
        messages.push_back(text);
    } else {
        Say(text);
    }
}

ExitStatus PolicyOutput::End(ExitStatus status) {
    if (!is_json) return status;
    json.EndObject();
    json.Key("messages");
    json.BeginArray();
    for (const std::string& message : messages) json.Text(message);
    json.EndArray();
    AddNumber("exit_status", static_cast<uint64_t>(status));
    json.EndObject();
    sink.Add('\n');
    sink.Flush();
    return status;
}

bool PolicyOutput::Read(const char* file, NamedText* read) {
    const bool is_input = std::string_view(file) == "-";
    read->name = is_input ? "standard input" : file;
    std::string reason = is_input && input_is_read ? "it is there once" : "";
    input_is_read |= is_input;
    if (reason.empty() && ReadText(file, zwmgmt::policy::Source::kAny, &read->text, &reason)) {
        return true;
    }
    Complain("cannot read " + read->name + ": " + reason);
    return false;
}

bool PolicyOutput::ReadPolicy(const char* file, NoRules no_rules, NamedText* read) {
    if (!Read(file, read)) return false;
    size_t count = 0;
    size_t wrong = 0;
    CompiledRules rules(read->text, Layout::kContinued);
    for (; rules.Next(); ++count) {
        if (rules.IsRight()) continue;
        if (is_json && wrong == 0) {
            json.Key("errors");
            json.BeginArray();
        }
        ++wrong;
        const CompiledRules::Fault fault = rules.Describe();
        ShowFault(*read, fault.rule, fault.place, fault.reason, fault.marked);
    }
    if (is_json && wrong > 0) json.EndArray();
    if (wrong > 1) {
        Complain(std::to_string(wrong) + " of " + Counted(count, "rule") + " are wrong");
    }
    if (count == 0) {
        const bool warned = no_rules == NoRules::kAllowed;
        Complain((warned ? "warning: " : "") + read->name + ": there is no rule in it");
        return warned;
    }
    return wrong == 0;
}

void PolicyOutput::ShowFault(const NamedText& file, size_t rule, Place place,
                             const std::string& reason, const MarkedLine& marked) {
    if (!is_json) {
        Say(file.name + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
            ": " + reason + "\n    " + marked.line + "\n    " + marked.mark);
        return;
    }
    json.BeginObject();
    AddText("file", file.name);
    if (rule != 0) AddNumber("rule", rule);
    AddNumber("line", place.line);
    AddNumber("column", place.column);
    AddText("message", reason);
    AddText("text", marked.line);
    json.EndObject();
}

std::string Counted(size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace zwcli
