/// "--complete LINE": what shells offer where Tab is pressed behind a line.
#pragma once

#include <string>

#include "front_end/exit_status.h"

namespace zwcli {

/// Prints a line for each word that can stand in the place of the line's last: the word, then,
/// where there is something to say of it, a tab and that. "\tfiles\tBEGINNING" means that names of
/// files can, too, behind that beginning. Says nothing else, asks nobody for anything, and always
/// succeeds.
ExitStatus CompleteLine(const std::string& line);

}  // namespace zwcli
