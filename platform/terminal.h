/// The standard streams, and reading a password from the person at the keyboard.
#pragma once

#include <optional>
#include <string>

namespace zwmgmt::platform {

/// Call first in a program: standard input is bytes, and what is printed shows as UTF-8.
void PrepareStandardStreams();

/// Whether standard input is a terminal.
bool StandardInputIsTerminal();

/// Shows the prompt on standard error and reads one line from standard input without echo. Nothing
/// when standard input is no terminal, ends, or the person presses the interrupt key.
std::optional<std::string> ReadPassword(const char* prompt);

}  // namespace zwmgmt::platform
