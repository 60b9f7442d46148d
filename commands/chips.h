/// Chip generations, for table rows.
#pragma once

#include <string_view>

namespace zwmgmt {

enum class Chips { kAny, kX3, kX4AndX5 };

/// Whether the chip text of a card record is one of the generations.
inline bool IsOneOf(Chips chips, std::string_view chip_type) {
    switch (chips) {
        case Chips::kAny: return true;
        case Chips::kX3: return chip_type == "X3";
        case Chips::kX4AndX5: return chip_type == "X4" || chip_type == "X5";
    }
    return false;
}

}  // namespace zwmgmt
