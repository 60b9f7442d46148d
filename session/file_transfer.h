/// What there is to say of a file before it is sent, and when an agent refuses it.
#pragma once

#include <cstdint>

class ZwMgmt_interface;

namespace zwmgmt {

/// Whether a file can be sent: it is there, regular, readable and not too large. Says why not.
bool CanBeSent(ZwMgmt_interface& session, const char* path);

/// Null for a status without a text of its own.
const char* FileRefusalText(uint32_t status);

}  // namespace zwmgmt
