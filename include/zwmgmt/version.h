/// The version of the library: the macros say which headers a program was compiled with, the
/// function which library it runs with. The build reads the numbers from here.
#pragma once

#include "zwmgmt/export.h"

/// The version's three numbers.
#define ZWMGMT_VERSION_MAJOR 1
#define ZWMGMT_VERSION_MINOR 0
#define ZWMGMT_VERSION_PATCH 0

#define ZWMGMT_DOTTED_(major, minor, patch) #major "." #minor "." #patch
#define ZWMGMT_DOTTED(major, minor, patch) ZWMGMT_DOTTED_(major, minor, patch)

/// The same as a text, "1.2.3".
#define ZWMGMT_VERSION \
    ZWMGMT_DOTTED(ZWMGMT_VERSION_MAJOR, ZWMGMT_VERSION_MINOR, ZWMGMT_VERSION_PATCH)

namespace zwmgmt {

/// ZWMGMT_VERSION of the library that the program runs with. Static storage.
ZWMGMT_API const char* Version() noexcept;

}  // namespace zwmgmt
