/// The header of every message, and the data of those that open a session.
#pragma once

#include "records/capabilities.h"
#include "records/field.h"
#include "zwmgmt/message.h"

namespace zwmgmt {

inline constexpr Field kHeaderFields[] = {
    ZWMGMT_FIELD(_Message, os_type, kOsSense),
    ZWMGMT_FIELD(_Message, word_size, Plain("bytes")),
    ZWMGMT_FIELD(_Message, rw_token),
    ZWMGMT_FIELD(_Message, service),
    ZWMGMT_FIELD(_Message, qualifier),
    ZWMGMT_FIELD(_Message, opcode),
    ZWMGMT_FIELD(_Message, data_length, Plain("bytes")),
    ZWMGMT_FIELD(_Message, status),
};

inline constexpr Field kLoginFields[] = {
    ZWMGMT_FIELD(LoginRecord, user_name),
    ZWMGMT_FIELD(LoginRecord, password, kSecretSense),
    ZWMGMT_FIELD(LoginRecord, local_user),
};

}  // namespace zwmgmt
