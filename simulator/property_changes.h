/// Carries out what "setcardproperty" and "setportproperty" ask for.
#pragma once

#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/port.h"

namespace zmsim {

/// Gives the record the values whose bit is set, as an agent of this OS reads the bits for this
/// adapter.
void Apply(const CardPropertyRequest& request, uint8_t os_type, _CardInformation* card);

/// False, with nothing changed, when a bit is set whose property this agent does not have, as far
/// as the values tell: properties share bits.
bool Apply(const PortRequest& request, uint8_t os_type, const _CardInformation& card,
           _PortInformation* port);

}  // namespace zmsim
