/// What there is to say of the keys of X4 rules.
#pragma once

#include <cstdio>

namespace zwmgmt {

/// Prints each key with the values that it takes, a line a key.
void PrintX4Keys(FILE* stream);

}  // namespace zwmgmt
