/// What there is to ask for, from the tables that the library itself works by.
#pragma once

#include <cstddef>
#include <cstdio>

#include "zwmgmt/export.h"

namespace zwmgmt {

/// Prints the commands that can be sent: all of them, those of the service that the first word
/// names, or the command of the second, with what each of its keys takes and which agents take it.
/// Returns false, with nothing printed, for words that name none that can be sent.
ZWMGMT_API bool PrintHelp(FILE* stream, const char* const* words, size_t count) noexcept;

}  // namespace zwmgmt
