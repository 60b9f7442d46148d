/// What is printed for the status of a reply.
#pragma once

#include <cstdint>
#include <span>

#include "session/os_set.h"
#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

inline constexpr OsSet kAnyAgent = OsSet::Any();

/// The status of a row for whatever the rows before it do not name.
inline constexpr uint32_t kAnyOther = UINT32_MAX;

inline constexpr const char* kRunningText =
    "There is a background command already running. Please wait till it finishes\n";

/// The text for a status of agents of some OS; the first row that suits is printed.
struct OutcomeRow {
    uint32_t status;
    OsSet systems;
    const char* text;
};

/// Prints nothing where no row suits.
inline void PrintOutcome(ZwMgmt_interface& session, std::span<const OutcomeRow> rows,
                         const _Message& reply) {
    for (const OutcomeRow& row : rows) {
        const bool suits = row.status == reply.status || row.status == kAnyOther;
        if (!suits || !row.systems.Has(reply.os_type)) continue;
        session.PrintOutput("%s", row.text);
        return;
    }
}

}  // namespace zwmgmt
