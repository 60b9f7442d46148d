/// What a session opens and logs in with.
#pragma once

#include <string_view>

#include "session/exchange.h"
#include "zwmgmt/message.h"

namespace zwmgmt {

/// Secrets lie here alone, and for as short as can be; whoever has a Login wipes it at the end.
class Login {
  public:
    /// Who opens, without a password. kInvalidValue for a name that is too long, kLoginFailed on a
    /// machine that does not know its user.
    SessionResult SetUser(const char* user_name);
    uint32_t SetPassword(const char* password);
    void Wipe();

    /// The first exchange of a connection, whose answer is the agent's introduction.
    SessionResult Open(Exchange& exchange, char* result_buffer, _Message* introduction) const;
    /// Sends the password, once: sent or not, it is wiped.
    SessionResult Authenticate(Exchange& exchange, char* result_buffer);

  private:
    LoginRecord record = {};
};

}  // namespace zwmgmt
