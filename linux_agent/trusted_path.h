/// Paths that nobody but root and this process's user can have led elsewhere.
#pragma once

#include <string>

#include "linux_agent/descriptor.h"

namespace zmagent {

/// Opens what lies there, without reading it (O_PATH). Nothing, with the reason in *error, where a
/// step of the path is missing, a link, another user's, or writable by others; folders in which
/// nobody may touch what is others' (/tmp) may lie on the way.
Descriptor OpenTrusted(const std::string& path, std::string* error);

}  // namespace zmagent
