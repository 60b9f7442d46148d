/// What there is to say of the keys of X3 rules.
#pragma once

#include <cstdint>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

/// The present bits that say which packets a rule is for, not what becomes of them.
inline constexpr uint32_t kX3Criteria = 0x1FF;

/// Notes a value that the rule holds otherwise than written, or that agents refuse.
void NoteX3Value(ZwMgmt_interface& session, const Client_Request_Argument& key,
                 const _Filter& rule);

}  // namespace zwmgmt
