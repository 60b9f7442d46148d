#include "output/render.h"

#include <algorithm>
#include <charconv>

#include "output/characters.h"

namespace zwmgmt {
namespace {

constexpr std::string_view kListSeparator = ", ";

/// Calls `each` with every text of a list.
template <class Each>
void ForEachText(std::string_view list, Each each) {
    while (!list.empty()) {
        const size_t end = std::min(list.find(kListSeparator), list.size());
        each(list.substr(0, end));
        list.remove_prefix(std::min(end + kListSeparator.size(), list.size()));
    }
}

void Write(JsonWriter& json, const ResultValue& value) {
    switch (value.type) {
        case ValueType::kAbsent: json.Null(); break;
        case ValueType::kText: json.Text(value.text); break;
        case ValueType::kInteger: json.Integer(value.integer); break;
        case ValueType::kUnsigned: json.Unsigned(value.number); break;
        case ValueType::kFlag: json.Flag(value.flag); break;
        case ValueType::kList:
            json.BeginArray();
            ForEachText(value.text, [&](std::string_view text) { json.Text(text); });
            json.EndArray();
            break;
    }
}

/// A value as a text without control characters and in valid UTF-8.
void AppendPlain(const ResultValue& value, std::string* text) {
    char room[24];
    char* end = room;
    switch (value.type) {
        case ValueType::kAbsent: return;
        case ValueType::kFlag: *text += value.flag ? "true" : "false"; return;
        case ValueType::kInteger:
            end = std::to_chars(room, room + sizeof(room), value.integer).ptr;
            break;
        case ValueType::kUnsigned:
            end = std::to_chars(room, room + sizeof(room), value.number).ptr;
            break;
        case ValueType::kText:
        case ValueType::kList:
            for (std::string_view left = value.text; !left.empty();) {
                const std::string_view character = FirstCharacter(left);
                left.remove_prefix(character.size());
                const bool byte =
                    character.size() == 1 && static_cast<uint8_t>(character[0]) >= 0x80;
                *text += byte ? "\xEF\xBF\xBD" : IsControl(character) ? "?" : character;
            }
            return;
    }
    text->append(room, end);
}

void AddCsv(TextSink& sink, std::string_view cell) {
    if (cell.find_first_of("\",") == cell.npos) return sink.Add(cell);
    sink.Add('"');
    for (const char c : cell) {
        if (c == '"') sink.Add('"');
        sink.Add(c);
    }
    sink.Add('"');
}

/// Characters that a terminal shows, counted as one column each.
size_t WidthOf(std::string_view text) {
    return static_cast<size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

/// At most so many columns; what was cut off is told by a mark.
std::string Cut(std::string text, size_t width) {
    if (WidthOf(text) <= width) return text;
    size_t columns = 0;
    size_t end = 0;
    while (columns + 1 < width) {
        end += FirstCharacter(std::string_view(text).substr(end)).size();
        ++columns;
    }
    return text.substr(0, end) + "~";
}

/// Narrows the widest columns until a line fits.
void Fit(std::vector<size_t>* widths, size_t gaps, size_t width) {
    constexpr size_t kNarrowest = 8;
    const auto total = [&] {
        size_t sum = gaps;
        for (const size_t column : *widths) sum += column;
        return sum;
    };
    while (width != 0 && total() > width) {
        size_t& widest = *std::ranges::max_element(*widths);
        if (widest <= kNarrowest) return;
        --widest;
    }
}

void AddLine(TextSink& sink, const std::vector<std::string>& cells,
             const std::vector<size_t>& widths) {
    for (size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = Cut(cells[i], widths[i]);
        sink.Add(cell);
        if (i + 1 < cells.size()) sink.Add(std::string(widths[i] - WidthOf(cell) + 2, ' '));
    }
}

std::string InCapitals(std::string name) {
    std::ranges::transform(name, name.begin(), [](char c) {
        return 'a' <= c && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return name;
}

}  // namespace

void WriteJson(JsonWriter& json, const Description& what, Records& records,
               const FieldList& fields) {
    if (!what.single) json.BeginArray();
    const void* record = records.First();
    for (; record != nullptr; record = records.Next()) {
        json.BeginObject();
        for (const Field* field : fields) {
            const ResultValue value = records.ValueOf(record, *field);
            if (value.type == ValueType::kAbsent) continue;
            json.Key(field->name);
            Write(json, value);
        }
        json.EndObject();
        if (what.single) return;
    }
    if (what.single) {
        json.Null();
    } else {
        json.EndArray();
    }
}

void WriteCsvHeader(TextSink& sink, const FieldList& fields, const std::string& first) {
    sink.Add(first);
    const char* separator = first.empty() ? "" : ",";
    for (const Field* field : fields) {
        sink.Add(separator);
        AddCsv(sink, field->name);
        separator = ",";
    }
    sink.Add("\r\n");
}

void WriteCsvRecords(TextSink& sink, Records& records, const FieldList& fields,
                     const std::string& first) {
    std::string cell;
    for (const void* record = records.First(); record != nullptr; record = records.Next()) {
        AddCsv(sink, first);
        const char* separator = first.empty() ? "" : ",";
        for (const Field* field : fields) {
            cell.clear();
            AppendPlain(records.ValueOf(record, *field), &cell);
            sink.Add(separator);
            AddCsv(sink, cell);
            separator = ",";
        }
        sink.Add("\r\n");
    }
}

void WriteCsv(TextSink& sink, Records& records, const FieldList& fields) {
    WriteCsvHeader(sink, fields);
    WriteCsvRecords(sink, records, fields);
}

RecordTable::RecordTable(const Description& description, const FieldList& shown,
                         const std::string& first)
    : single(description.single), has_first(!first.empty()), fields(shown) {
    if (has_first) header.push_back(InCapitals(first));
    if (single) {
        header.insert(header.end(), {"FIELD", "VALUE"});
        return;
    }
    for (const Field* field : fields) header.push_back(InCapitals(field->name));
}

void RecordTable::Add(Records& records, const std::string& first) {
    const Row begin = has_first ? Row{first} : Row{};
    for (const void* record = records.First(); record != nullptr; record = records.Next()) {
        Row line = begin;
        for (const Field* field : fields) {
            std::string cell;
            AppendPlain(records.ValueOf(record, *field), &cell);
            if (!single) {
                line.push_back(cell.empty() ? "-" : cell);
            } else if (!cell.empty()) {
                lines.push_back(begin);
                lines.back().insert(lines.back().end(), {field->name, cell});
            }
        }
        if (!single) lines.push_back(line);
    }
}

void RecordTable::Write(TextSink& sink, const TableStyle& style) const {
    std::vector<size_t> widths(header.size());
    for (size_t i = 0; i < header.size(); ++i) {
        widths[i] = WidthOf(header[i]);
        for (const Row& line : lines) widths[i] = std::max(widths[i], WidthOf(line[i]));
    }
    if (!widths.empty()) Fit(&widths, 2 * (widths.size() - 1), style.width);
    if (style.bold) sink.Add("\x1b[1m");
    AddLine(sink, header, widths);
    sink.Add(style.bold ? "\x1b[0m\n" : "\n");
    for (const Row& line : lines) {
        AddLine(sink, line, widths);
        sink.Add('\n');
    }
}

void WriteTable(TextSink& sink, const Description& what, Records& records, const FieldList& fields,
                const TableStyle& style) {
    RecordTable table(what, fields);
    table.Add(records);
    table.Write(sink, style);
}

}  // namespace zwmgmt
