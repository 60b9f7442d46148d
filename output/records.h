/// The records of a reply, one after the other, and which of their fields the agent has filled.
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "output/description.h"
#include "output/value.h"

namespace zwmgmt {

using FieldList = std::vector<const Field*>;

/// The fields that agents of this system fill, or for people those that matter most.
FieldList FieldsOf(const Description& description, uint8_t os, bool for_people = false);

/// What counters have grown by in a second; nothing of those that are not there.
using CounterRates = std::map<std::pair<const void*, const Field*>, uint64_t>;

class Records {
  public:
    /// The data stay the caller's: a list, or a block of `length` bytes. Only this allocates.
    Records(const Description& description, uint8_t agent_os, const void* data, uint32_t length);
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    /// The first record, or the next; null behind the last.
    const void* First();
    const void* Next();

    /// A value of a record; absent where the agent does not fill the field.
    ResultValue ValueOf(const void* record, const Field& field);

    /// From now on these are the values of the counters.
    void ShowRates(CounterRates counter_rates) { rates = std::move(counter_rates); }

  private:
    const void* Run(size_t begin);
    const void* Row();
    bool IsFilled(const void* record, const Field& field);

    const Description& what;
    const uint8_t os;
    const void* const data;
    const uint32_t length;
    Cells rows;
    const void* current = nullptr;
    size_t place = 0;                       // of a run: bytes; of rows: the row
    std::vector<std::vector<bool>> filled;  // fields by the variants of the description's blocks
    const void* judged = nullptr;           // the record whose variant is known
    uint8_t judged_variant = 0;
    ValueRoom room = {};
    std::optional<CounterRates> rates;
};

/// Prints the lines of every record, as its blocks have them.
void PrintRecords(ZwMgmt_interface& session, const Description& description, const void* data,
                  uint32_t length);

}  // namespace zwmgmt
