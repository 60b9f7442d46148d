/// Who may do what: users by PAM, roles by groups; and who tries too often.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "linux_agent/config.h"
#include "platform/address.h"
#include "platform/socket.h"

namespace zmagent {

enum class Role { kNobody, kReader, kOperator };

/// What the user may do whose password and account PAM accepts; with a null password, whose account
/// alone. kNobody, with the reason in *reason, when they are not accepted, or the user is in none
/// of the groups. address: of the client, as PAM is told it. is_there: whether the client still
/// waits, while others go before it.
Role RoleOf(const Config& config, const std::string& user, const std::string* password,
            const std::string& address, const std::function<bool()>& is_there, std::string* reason);

/// Makes guessing slow: after a failed login the next one from there waits, each time longer.
class LoginGuard {
  public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = zwmgmt::platform::Milliseconds;

    static constexpr Milliseconds kFirstPause{250};
    static constexpr Milliseconds kLongestPause{30'000};
    /// A login that would wait for longer is refused at once.
    static constexpr Milliseconds kPatience{60'000};
    static constexpr std::chrono::minutes kMemory{15};
    static constexpr size_t kMostAddresses = 10'000;

    /// How long the login has to wait for its turn, from which on the next ones wait.
    Milliseconds TurnOf(const zwmgmt::platform::Address& address, Clock::time_point now);
    void NoteFailure(const zwmgmt::platform::Address& address, const std::string& user,
                     Clock::time_point now);
    /// Forgets the failures of a user who has mistyped; not those of one who tries others' names.
    void NoteSuccess(const zwmgmt::platform::Address& address, const std::string& user);
    uint32_t FailuresOf(const zwmgmt::platform::Address& address);

  private:
    struct Record {
        uint32_t failures = 0;
        std::string user;  // of all of them; meaningless with several
        bool has_several = false;
        Clock::time_point next = {};
        Clock::time_point last = {};
    };
    using Key = std::pair<zwmgmt::platform::Family, uint64_t>;  // of a network

    static Key KeyOf(const zwmgmt::platform::Address& address);
    Record& RecordOf(const Key& key, Clock::time_point now);

    std::mutex lock;
    std::map<Key, Record> records;
};

}  // namespace zmagent
