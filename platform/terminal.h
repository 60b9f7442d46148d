/// The standard streams, and reading a password from the person at the keyboard.
#pragma once

#include <cstddef>

namespace zwmgmt::platform {

/// Call first in a program, before anything is opened. Standard streams that are closed lead to the
/// null device from now on, so that nothing else takes their place; using them fails as before.
/// Standard input is bytes, and what is printed shows as UTF-8.
void PrepareStandardStreams();

enum class Typed { kLine, kNothing, kNoTerminal };

/// Shows the prompt on this process's terminal, wherever its standard streams lead, and reads one
/// line there without echo. *length is that of the whole line; `capacity` bytes of it are kept. The
/// interrupt key ends the process as it does elsewhere (exit status 130), and whatever ends or
/// stops it leaves the terminal as it was. kNothing at the end of input.
Typed ReadPassword(const char* prompt, char* line, size_t capacity, size_t* length);

/// Whether standard input comes from a terminal.
bool InputIsTerminal();

/// Whether standard error leads to a terminal.
bool ErrorsShowOnTerminal();

/// The columns of the terminal that standard output shows on; 0 when it is none.
size_t TerminalWidth();

}  // namespace zwmgmt::platform
