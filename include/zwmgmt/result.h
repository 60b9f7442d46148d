/// Replies as values: what an agent answered, field by field, and the same as JSON, CSV or a table.
///
///     zwmgmt::Result result(session, command.Request(), buffer.data());
///     for (size_t i = 0; i < result.RecordCount(); ++i) {
///         const zwmgmt::ResultValue location = result.ValueOf(i, "pci_bus_location");
///         puts(std::string(location.text).c_str());
///     }
///
/// docs/formats.md lists the fields of every command.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zwmgmt/export.h"
#include "zwmgmt/request.h"

class ZwMgmt_interface;

namespace zwmgmt {

/// What a value is.
enum class ValueType : uint8_t {
    kAbsent,    ///< the agent does not fill the field, or has not filled it
    kText,      ///< as the agent sent it: any bytes; of an enumeration its word
    kInteger,   ///< with sign
    kUnsigned,  ///< 64 bits without sign
    kFlag,      ///< yes or no
    kList,      ///< texts, separated by ", "
};

/// A field of one record. Of the members behind the type one counts.
struct ResultValue {
    ValueType type = ValueType::kAbsent;  ///< which one
    std::string_view text = {};           ///< ValueType::kText and ValueType::kList; valid as
                                          ///< long as the result, or until its next value
    int64_t integer = 0;                  ///< ValueType::kInteger
    uint64_t number = 0;                  ///< ValueType::kUnsigned
    bool flag = false;                    ///< ValueType::kFlag
};

/// What a field is called and holds. The texts are static.
struct ResultField {
    const char* name;  ///< lower_snake_case
    ValueType type;    ///< what its values mostly are; see ResultValue::type
    const char* unit;  ///< of a number; "" where there is none
};

/// How data are written as text; docs/formats.md describes each.
enum class ResultFormat : uint8_t {
    kJson,      ///< an array of objects, or an object, indented
    kJsonLine,  ///< the same in one line
    kCsv,       ///< RFC 4180 with a header line
    kTable,     ///< for people
};

/// One request's answer. Belongs to the thread of its session; may outlive it.
class ZWMGMT_API Result {
  public:
    /// Sends the request (zwmgmt/request.h) and keeps the answer. Nothing is printed: what the
    /// library would print goes into Message() and MessageAt(). result_buffer: kResultBufferSize
    /// bytes of the caller's, overwritten.
    Result(ZwMgmt_interface& session, Client_Request_Message* request,
           char* result_buffer) noexcept;
    ~Result();
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;

    /// What Client_ProcessRequest returned: 0 when the agent has answered.
    [[nodiscard]] int Returned() const noexcept;
    /// The status that counts: the session's when the agent has not answered, otherwise the
    /// agent's, or what its data mean (kHostNotReached).
    [[nodiscard]] uint32_t Status() const noexcept;
    /// The outcome in the system's words, "" where the data are the answer. Owned by the result.
    [[nodiscard]] const char* Message() const noexcept;
    /// What was said on the way, a line each: warnings, refusals, progress.
    [[nodiscard]] size_t MessageCount() const noexcept;
    /// One of them, by an index below MessageCount(), without line end. Owned by the result.
    [[nodiscard]] const char* MessageAt(size_t index) const noexcept;

    /// Whether there are data: a list, which may be empty, or one record.
    [[nodiscard]] bool HasData() const noexcept;
    /// Whether they are a list.
    [[nodiscard]] bool IsList() const noexcept;

    /// The fields that agents of this system fill, in order; all until Select.
    [[nodiscard]] size_t FieldCount() const noexcept;
    /// One of them, by an index below FieldCount().
    [[nodiscard]] ResultField FieldAt(size_t index) const noexcept;
    /// Chooses fields and their order by names, separated by commas. False, with the reason in
    /// *error, for a name that the command's records do not have.
    bool Select(std::string_view fields, std::string* error) noexcept;

    /// How many records there are; 0 without data.
    [[nodiscard]] size_t RecordCount() const noexcept;
    /// A field of a record, by indices below RecordCount() and FieldCount().
    [[nodiscard]] ResultValue ValueAt(size_t record, size_t field) const noexcept;
    /// The same by the field's name, chosen or not; absent where there is none of this name.
    [[nodiscard]] ResultValue ValueOf(size_t record, std::string_view field) const noexcept;

    /// The data as text; appended. False without memory.
    bool Render(ResultFormat format, std::string* text) const noexcept;

  private:
    struct ZWMGMT_LOCAL Parts;
    Parts* parts;  // null: there was no memory
};

}  // namespace zwmgmt
