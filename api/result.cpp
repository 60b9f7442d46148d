#include "zwmgmt/result.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "api/result_parts.h"
#include "commands/offer.h"
#include "commands/routes.h"
#include "commands/talk.h"
#include "commands/vocabulary.h"
#include "output/render.h"

namespace zwmgmt {

ResultParts::ResultParts(ZwMgmt_interface& session, Client_Request_Message* request,
                         char* result_buffer)
    : command(request != nullptr ? request->command : uint16_t{0}),
      os(session.OsType()),
      reply(command) {
    Talk talk(session);
    _Message message = {};
    returned = static_cast<uint32_t>(
        session.Client_ProcessRequest(&message, request, result_buffer, &reply.data));
    messages = talk.Lines();
    status = returned != 0 ? returned : message.status;
    if (returned != 0) {
        if (status != kRequestRefused) outcome = StatusText(status);
        return;
    }
    const Route* route = FindRoute(command);
    const bool local = route != nullptr && route->reply == ReplyShape::kNone;
    if (route != nullptr && route->reply == ReplyShape::kOwn && !messages.empty()) {
        outcome = messages.back();
        messages.pop_back();
        return;
    }
    length = message.data_length;
    if (status == kSuccess) what = FindDescription(local ? command : message.opcode);
    if (what == nullptr) {
        outcome = talk.OutcomeOf(reply.data, *request, &message);
        if (outcome.empty() && status != kSuccess) outcome = StatusText(status);
        return;
    }
    if (local) messages.clear();  // the data, for people
    if (what->judge != nullptr) status = what->judge(reply.data, length);
    if (status != kSuccess) outcome = StatusText(status);
    records.emplace(*what, os, reply.data, length);
    fields = FieldsOf(*what, os);
}

namespace {

std::string UnknownField(const Description& what, std::string_view name) {
    std::vector<const char*> known;
    for (const Field& field : what.fields) known.push_back(field.name);
    return "unknown field \"" + std::string(name) +
           "\"; nearest: " + Joined(NearestWords(std::string(name), known));
}

}  // namespace

bool SelectFields(const Description& what, std::string_view names, FieldList* fields,
                  std::string* error) {
    FieldList chosen;
    while (true) {
        const std::string_view name = names.substr(0, names.find(','));
        const auto field = std::ranges::find(what.fields, name, &Field::name);
        if (field == what.fields.end()) {
            *error = UnknownField(what, name);
            return false;
        }
        if (std::ranges::find(chosen, &*field) != chosen.end()) {
            *error = "the field \"" + std::string(name) + "\" is chosen twice";
            return false;
        }
        chosen.push_back(&*field);
        if (name.size() == names.size()) break;
        names.remove_prefix(name.size() + 1);
    }
    *fields = chosen;
    return true;
}

struct Result::Parts : ResultParts {
    using ResultParts::ResultParts;

    const void* RecordAt(size_t index) {
        if (cursor == nullptr || index < position) {
            cursor = records->First();
            position = 0;
        }
        for (; cursor != nullptr && position < index; ++position) cursor = records->Next();
        return cursor;
    }

    const void* cursor = nullptr;  // where the last look was: going through takes one pass
    size_t position = 0;
};

Result::Result(ZwMgmt_interface& session, Client_Request_Message* request,
               char* result_buffer) noexcept {
    try {
        parts = new Parts(session, request, result_buffer);
    } catch (const std::bad_alloc&) {
        parts = nullptr;
    }
}

Result::~Result() { delete parts; }

int Result::Returned() const noexcept {
    return parts != nullptr ? static_cast<int>(parts->returned) : int{kRequestRefused};
}

uint32_t Result::Status() const noexcept {
    return parts != nullptr ? parts->status : uint32_t{kRequestRefused};
}

const char* Result::Message() const noexcept {
    return parts != nullptr ? parts->outcome.c_str() : "out of memory";
}

size_t Result::MessageCount() const noexcept {
    return parts != nullptr ? parts->messages.size() : 0;
}

const char* Result::MessageAt(size_t index) const noexcept {
    return index < MessageCount() ? parts->messages[index].c_str() : "";
}

bool Result::HasData() const noexcept { return parts != nullptr && parts->what != nullptr; }

bool Result::IsList() const noexcept { return HasData() && !parts->what->single; }

size_t Result::FieldCount() const noexcept { return HasData() ? parts->fields.size() : 0; }

ResultField Result::FieldAt(size_t index) const noexcept {
    if (index >= FieldCount()) return {"", ValueType::kAbsent, ""};
    const Field& field = *parts->fields[index];
    return {field.name, TypeOf(field), field.sense.unit};
}

bool Result::Select(std::string_view names, std::string* error) noexcept {
    try {
        if (!HasData()) {
            *error = "there are no data";
            return false;
        }
        return SelectFields(*parts->what, names, &parts->fields, error);
    } catch (const std::bad_alloc&) {
        error->clear();
        return false;
    }
}

size_t Result::RecordCount() const noexcept {
    if (!HasData()) return 0;
    size_t count = 0;
    parts->cursor = nullptr;
    for (const void* each = parts->records->First(); each != nullptr;
         each = parts->records->Next()) {
        ++count;
    }
    return count;
}

ResultValue Result::ValueAt(size_t record, size_t field) const noexcept {
    if (field >= FieldCount()) return {};
    const void* found = parts->RecordAt(record);
    if (found == nullptr) return {};
    return parts->records->ValueOf(found, *parts->fields[field]);
}

ResultValue Result::ValueOf(size_t record, std::string_view name) const noexcept {
    for (size_t i = 0; i < FieldCount(); ++i) {
        if (name == parts->fields[i]->name) return ValueAt(record, i);
    }
    return {};
}

bool Result::Render(ResultFormat format, std::string* text) const noexcept {
    try {
        if (!HasData()) return true;
        TextSink sink(text);
        parts->cursor = nullptr;
        Records& records = *parts->records;
        switch (format) {
            case ResultFormat::kJson:
            case ResultFormat::kJsonLine: {
                JsonWriter json(sink, format == ResultFormat::kJson);
                WriteJson(json, *parts->what, records, parts->fields);
                sink.Add('\n');
                break;
            }
            case ResultFormat::kCsv: WriteCsv(sink, records, parts->fields); break;
            case ResultFormat::kTable:
                WriteTable(sink, *parts->what, records, parts->fields, {});
                break;
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace zwmgmt
