/// The statuses that have words of their own.
#pragma once

#include <cstdint>
#include <span>

namespace zwmgmt {

struct StatusRow {
    uint32_t status;
    const char* text;
};

std::span<const StatusRow> StatusTexts();

}  // namespace zwmgmt
