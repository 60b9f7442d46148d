/// What the reply about offload policies holds.
#pragma once

#include "output/description.h"

namespace zwmgmt {

extern const Description kPolicies;

}  // namespace zwmgmt
