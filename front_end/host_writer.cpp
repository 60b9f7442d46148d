#include "front_end/host_writer.h"

#include <algorithm>
#include <cstdio>

#include "front_end/consolidate.h"
#include "front_end/difference.h"
#include "output/render.h"
#include "session/agent_names.h"

namespace zwcli {
namespace {

/// "node7: line"
class TextWriter : public HostWriter {
  public:
    void Add(const Target&, const std::string& name, Outcome outcome) override {
        for (const std::string& line : LinesOf(outcome.text)) {
            std::printf("%s: %s\n", name.c_str(), line.c_str());
        }
        std::fflush(stdout);
    }
};

class JsonHosts : public HostWriter {
  public:
    explicit JsonHosts(const Options& run_options)
        : options(run_options), answers(options.format) {}

    void Add(const Target& host, const std::string&, Outcome outcome) override {
        const Options own = OptionsFor(options, host);
        for (const Answer& answer : outcome.answers) answers.Add(own, answer);
    }

    void End() override { answers.End(); }

  private:
    const Options& options;
    JsonAnswers answers;
};

/// The fields that any agent may fill, so that every host's records fit the columns.
zwmgmt::FieldList FieldsOfAll(const Options& options, const zwmgmt::Description& what) {
    zwmgmt::FieldList fields;
    std::string error;
    if (!options.fields.empty()) {
        zwmgmt::SelectFields(what, options.fields, &fields, &error);
        return fields;
    }
    for (const zwmgmt::Field& field : what.fields) {
        const bool is_shown = std::ranges::any_of(zwmgmt::kAgentNames, [&](const auto& agent) {
            const auto own = FieldsOf(what, agent.os, options.format == Format::kTable);
            return std::ranges::find(own, &field) != own.end();
        });
        if (is_shown) fields.push_back(&field);
    }
    return fields;
}

/// With the host, or the time, in the first column. The lines of a CSV leave at once.
class ColumnWriter : public HostWriter {
  public:
    ColumnWriter(const Options& run_options, const zwmgmt::Description& description)
        : options(run_options),
          fields(FieldsOfAll(options, description)),
          first(options.watch != 0 ? "time" : "host"),
          table(description, fields, first) {
        if (options.format == Format::kCsv) zwmgmt::WriteCsvHeader(sink, fields, first);
    }

    void Add(const Target&, const std::string& name, Outcome outcome) override {
        const Answer& answer = outcome.answers.front();
        if (!answer.result || !answer.result->records) return;
        zwmgmt::Records& records = *answer.result->records;
        if (options.format == Format::kTable) return table.Add(records, name);
        zwmgmt::WriteCsvRecords(sink, records, fields, name);
        sink.Flush();
        std::fflush(stdout);
    }

    void End() override {
        if (options.format == Format::kTable) table.Write(sink, StyleOfOutput());
        sink.Flush();
    }

  private:
    const Options& options;
    const zwmgmt::FieldList fields;
    const std::string first;
    std::string piece;
    zwmgmt::TextSink sink{&piece, stdout};
    zwmgmt::RecordTable table;
};

/// Of commands that answer with a status alone.
class NothingWriter : public HostWriter {
  public:
    void Add(const Target&, const std::string&, Outcome) override {}
};

}  // namespace

std::unique_ptr<HostWriter> HostWriter::Make(const Options& options, const Command& command) {
    if (options.format == Format::kText) {
        if (options.consolidate || options.diff) return std::make_unique<Consolidation>(options);
        return std::make_unique<TextWriter>();
    }
    if (IsJson(options.format)) return std::make_unique<JsonHosts>(options);
    const zwmgmt::Description* what = zwmgmt::FindDescriptionOf(command.number);
    if (what == nullptr) return std::make_unique<NothingWriter>();
    return std::make_unique<ColumnWriter>(options, *what);
}

Options OptionsFor(const Options& options, const Target& host) {
    Options own = options;
    own.host = host.host;
    own.port = host.port;
    return own;
}

}  // namespace zwcli
