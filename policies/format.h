/// A policy file in one style. What is compiled stays the same.
#pragma once

#include <string>
#include <string_view>

namespace zwmgmt::policy {

/// The text of rules that compile: a rule a line, longer ones broken before "and", "or", "=>" and
/// the like; single blanks, words instead of signs; comments kept, and at most one empty line
/// between rules.
std::string Format(std::string_view text);

}  // namespace zwmgmt::policy
