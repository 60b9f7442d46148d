/// What korvane_zwcli has to say of its own words and the library's.
#pragma once

#include <string>
#include <vector>

namespace zwcli {

/// Prints the help that "help WORD ..." asks for; "" or what is wrong with the words.
std::string PrintHelpFor(const std::vector<const char*>& words);

/// What is wrong with words of which the library makes no request, the front end's own considered.
std::string ComplaintAbout(const std::vector<const char*>& words);

}  // namespace zwcli
