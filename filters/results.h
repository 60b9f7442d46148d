/// What the replies about filter rules hold.
#pragma once

#include "output/description.h"

namespace zwmgmt {

extern const Description kX3Rules;
extern const Description kX4Rules;
extern const Description kMaxFilterRules;
extern const Description kCombinationRows;
extern const Description kActiveCombinations;
extern const Description kX3Interfaces;
extern const Description kX4Locations;

}  // namespace zwmgmt
