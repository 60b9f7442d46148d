/// The words of a line, quoted as in a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zwcli {

/// Where a word stands in its line, as it is written.
struct WordPlace {
    size_t begin;
    size_t end;
};

/// Takes a line without its end apart. Blanks part words; '...' holds all as it stands; in "..." a
/// backslash stands before ", \, $ and ` to mean the character itself, elsewhere before any; # at
/// the beginning of a word begins a comment. Nothing is expanded, and no other character means
/// anything. Returns what is wrong with the line, or ""; the words are filled in either case.
std::string SplitWords(std::string_view line, std::vector<std::string>* words,
                       std::vector<WordPlace>* places = nullptr);

/// The text so that it is one word of a line.
std::string Quoted(std::string_view text);

/// Whether a word is an option, not a part of a command.
bool IsOption(const std::string& word);

}  // namespace zwcli
