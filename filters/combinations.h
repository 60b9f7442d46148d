/// The filter modes of X4 adapters: which fields of a rule the hardware can match at once.
#pragma once

#include <span>
#include <string_view>

namespace zwmgmt {

std::span<const std::string_view> FilterCombinations();

/// Whole and case-sensitive.
bool IsFilterCombination(std::string_view text);

}  // namespace zwmgmt
