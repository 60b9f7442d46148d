/// Carries out what "setcardproperty" and "setportproperty" ask for.
#pragma once

#include "zwmgmt/records/adapter.h"
#include "zwmgmt/records/port.h"

namespace zmsim {

/// Gives the record the values whose bit is set, as an agent of this OS reads the bits for this
/// adapter. False, with nothing changed, when a bit, or a value that is no zero, belongs to no
/// property that this agent has for it (properties share bits: the values tell which were meant),
/// or when a value is none that the property can have.
bool Apply(const CardPropertyRequest& request, uint8_t os_type, _CardInformation* card);
bool Apply(const PortRequest& request, uint8_t os_type, const _CardInformation& card,
           _PortInformation* port);

}  // namespace zmsim
