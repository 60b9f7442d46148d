#include "zwmgmt/version.h"

namespace zwmgmt {

const char* Version() noexcept { return ZWMGMT_VERSION; }

}  // namespace zwmgmt
