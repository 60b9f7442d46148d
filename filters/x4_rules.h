/// What there is to say of the keys of X4 rules.
#pragma once

#include <cstdint>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

/// The present bits that say which packets a rule is for, not what becomes of them.
inline constexpr uint32_t kX4Criteria = 0xB80FFFF;

/// Notes what an accepted key has that agents do not take.
void NoteX4Value(ZwMgmt_interface& session, const Client_Request_Argument& key,
                 const _FilterX4& rule);

}  // namespace zwmgmt
