/// The records of a reply as JSON, CSV or a table for people.
#pragma once

#include "output/json.h"
#include "output/records.h"

namespace zwmgmt {

/// An array of objects; of a single record an object. A field without a value is left out.
void WriteJson(JsonWriter& json, const Description& what, Records& records,
               const FieldList& fields);

/// RFC 4180: a header line, a line a record; with a first column, if it has a name.
void WriteCsvHeader(TextSink& sink, const FieldList& fields, const std::string& first = "");
void WriteCsvRecords(TextSink& sink, Records& records, const FieldList& fields,
                     const std::string& first = "");

void WriteCsv(TextSink& sink, Records& records, const FieldList& fields);

struct TableStyle {
    size_t width = 0;  // of a line, in characters; 0: no limit
    bool bold = false;
};

/// Aligned columns; of a single record a line a field. With a first column, if it has a name, which
/// tells the records of several replies apart.
class RecordTable {
  public:
    RecordTable(const Description& description, const FieldList& shown,
                const std::string& first = "");

    void Add(Records& records, const std::string& first = "");
    void Write(TextSink& sink, const TableStyle& style) const;

  private:
    using Row = std::vector<std::string>;

    const bool single;
    const bool has_first;
    const FieldList fields;
    Row header;
    std::vector<Row> lines;
};

void WriteTable(TextSink& sink, const Description& what, Records& records, const FieldList& fields,
                const TableStyle& style);

}  // namespace zwmgmt
