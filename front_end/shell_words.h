/// The words of a line, quoted as in a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zwcli {

/// Takes a line without its end apart. Blanks part words; '...' holds all as it stands; in "..." a
/// backslash stands before ", \, $ and ` to mean the character itself, elsewhere before any; # at
/// the beginning of a word begins a comment. Nothing is expanded, and no other character means
/// anything. Returns what is wrong with the line, or "".
std::string SplitWords(std::string_view line, std::vector<std::string>* words);

}  // namespace zwcli
