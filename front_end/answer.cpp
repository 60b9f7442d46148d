#include "front_end/answer.h"

#include <cstdlib>

#include "commands/vocabulary.h"
#include "output/render.h"
#include "platform/terminal.h"
#include "session/agent_names.h"

namespace zwcli {
namespace {

using zwmgmt::Description;
using zwmgmt::FieldList;
using zwmgmt::JsonWriter;
using zwmgmt::ResultParts;

const std::string& OutcomeOf(const Answer& answer) {
    return answer.message.empty() && answer.result ? answer.result->outcome : answer.message;
}

/// The fields that the options choose, or those of the agent's system.
FieldList FieldsOf(const Options& options, const ResultParts& result) {
    FieldList fields = result.fields;
    std::string error;
    if (!options.fields.empty()) {
        zwmgmt::SelectFields(*result.what, options.fields, &fields, &error);
    } else if (options.format == Format::kTable) {
        fields = zwmgmt::FieldsOf(*result.what, result.os, true);
    }
    return fields;
}

void AddMessages(JsonWriter& json, const Answer& answer) {
    json.Key("messages");
    json.BeginArray();
    for (const std::string& message : answer.messages) json.Text(message);
    if (answer.result) {
        for (const std::string& message : answer.result->messages) json.Text(message);
    }
    json.EndArray();
}

/// The answer as a JSON object.
void WriteAnswer(JsonWriter& json, const Options& options, const Answer& answer) {
    json.BeginObject();
    if (!answer.time.empty()) json.Member("time", answer.time);
    if (!ZwMgmt_interface::NeedsNoAgent(answer.service, answer.command)) {
        json.Member("host", options.host);
        json.Member("port", options.port);
        if (const char* os = zwmgmt::NameOfAgent(answer.agent_os)) json.Member("agent_os", os);
    }
    if (answer.line != 0) json.Member("line", static_cast<uint32_t>(answer.line));
    json.Member("command", std::string(zwmgmt::ServiceWord(answer.service)) + " " +
                               zwmgmt::CommandWord(answer.service, answer.command));
    json.Member("exit_status", static_cast<uint32_t>(answer.exit_status));
    json.Member("status", answer.result ? answer.result->status : answer.status);
    json.Member("message", OutcomeOf(answer));
    AddMessages(json, answer);
    if (answer.interval_ms != 0) json.Member("interval_ms", answer.interval_ms);
    json.Key("result");
    if (answer.result && answer.result->records) {
        WriteJson(json, *answer.result->what, *answer.result->records,
                  FieldsOf(options, *answer.result));
    } else {
        json.Null();
    }
    if (answer.dry_run) {
        json.Key("dry_run");
        answer.dry_run->Write(json);
    }
    json.EndObject();
}

}  // namespace

zwmgmt::TableStyle StyleOfOutput() {
    const char* no_color = std::getenv("NO_COLOR");
    const size_t width = zwmgmt::platform::TerminalWidth();
    return {width, width != 0 && (no_color == nullptr || no_color[0] == '\0')};
}

namespace {

void PrintRecords(zwmgmt::TextSink& sink, const Options& options, const Answer& answer) {
    if (!answer.result || !answer.result->records) return;
    const FieldList fields = FieldsOf(options, *answer.result);
    if (options.format == Format::kCsv) {
        return WriteCsv(sink, *answer.result->records, fields);
    }
    WriteTable(sink, *answer.result->what, *answer.result->records, fields, StyleOfOutput());
}

}  // namespace

std::string WrongFields(const Options& options, uint16_t command) {
    if (options.fields.empty()) return "";
    if (options.format == Format::kText)
        return "--fields is for --format json, jsonl, csv or table";
    const Description* what = zwmgmt::FindDescriptionOf(command);
    if (what == nullptr) return "this command answers with a status alone: there are no fields";
    FieldList fields;
    std::string error;
    zwmgmt::SelectFields(*what, options.fields, &fields, &error);
    return error;
}

std::vector<std::string> RemarksOf(const Answer& answer) {
    if (!answer.result) return {};
    std::vector<std::string> remarks = answer.result->messages;
    const std::string& outcome = answer.result->outcome;
    if (!answer.result->records && !outcome.empty()) remarks.push_back(outcome);
    return remarks;
}

std::string TableOf(const Options& options, const Answer& answer) {
    std::string table;
    zwmgmt::TextSink sink(&table);
    PrintRecords(sink, options, answer);
    return table;
}

void PrintAnswer(const Options& options, const Answer& answer) {
    std::string piece;
    zwmgmt::TextSink sink(&piece, stdout);
    if (IsJson(options.format)) {
        JsonWriter json(sink, options.format == Format::kJson);
        WriteAnswer(json, options, answer);
        sink.Add('\n');
    } else {
        PrintRecords(sink, options, answer);
    }
    sink.Flush();
}

JsonAnswers::JsonAnswers(Format format) : is_array(format == Format::kJson), json(sink, is_array) {
    if (is_array) json.BeginArray();
}

void JsonAnswers::Add(const Options& options, const Answer& answer) {
    if (is_array) {
        WriteAnswer(json, options, answer);
    } else {
        PrintAnswer(options, answer);
    }
    sink.Flush();
    std::fflush(stdout);
}

void JsonAnswers::End() {
    if (!is_array) return;
    json.EndArray();
    sink.Add('\n');
    sink.Flush();
}

}  // namespace zwcli
