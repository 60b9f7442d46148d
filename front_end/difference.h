/// How two texts differ, as `diff -u` says it.
#pragma once

#include <string>
#include <vector>

namespace zwcli {

/// The lines of a text; of a line that was written over and over (a progress) its last state.
std::vector<std::string> LinesOf(const std::string& text);

struct TitledText {
    std::string title;
    std::string text;
};

/// Of each line of the second text whether it differs from the first.
std::vector<bool> NewLines(const std::string& before, const std::string& after);

/// "" where they do not differ.
std::string UnifiedDifference(const TitledText& before, const TitledText& after);

}  // namespace zwcli
