/// The part of the compatibility check that needs no session.
#pragma once

#include <cstddef>

#include "zwmgmt/records/capabilities.h"

namespace zwmgmt {

/// Why a service cannot be had from an agent of another version, given the newest capabilities of
/// its OS; the empty text when it can.
void NewestRefusal(const Capabilities& newest, uint8_t service, char* text, size_t capacity);

}  // namespace zwmgmt
