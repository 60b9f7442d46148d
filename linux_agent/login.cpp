#include "linux_agent/login.h"

#include <grp.h>
#include <pwd.h>
#include <security/pam_appl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace zmagent {
namespace {

constexpr size_t kMostGroups = 1024;
constexpr std::chrono::seconds kLongestQueue{10};
constexpr std::chrono::milliseconds kQueueRound{100};
constexpr size_t kAccountRoom = 64 * 1024;

/// Answers PAM's questions: what is not to be shown is the password.
int Converse(int count, const pam_message** messages, pam_response** responses, void* data) {
    if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
    auto* answers =
        static_cast<pam_response*>(std::calloc(static_cast<size_t>(count), sizeof(pam_response)));
    if (answers == nullptr) return PAM_BUF_ERR;
    for (int i = 0; i < count; ++i) {
        if (messages[i]->msg_style != PAM_PROMPT_ECHO_OFF || data == nullptr) continue;
        answers[i].resp = strdup(static_cast<const std::string*>(data)->c_str());
    }
    *responses = answers;
    return PAM_SUCCESS;
}

/// PAM would let time pass behind a failure, for all that wait: the guard does so for one address.
void PassNoTime(int /*result*/, unsigned /*microseconds*/, void* /*data*/) {}

/// A conversation with PAM about one user.
class PamSession {
  public:
    /// Without a password the user is known by other means.
    PamSession(const Config& config, const std::string& user, const std::string* password)
        : conversation{Converse, const_cast<std::string*>(password)} {
        result = config.pam_folder.empty()
                     ? pam_start(config.pam_service.c_str(), user.c_str(), &conversation, &handle)
                     : pam_start_confdir(config.pam_service.c_str(), user.c_str(), &conversation,
                                         config.pam_folder.c_str(), &handle);
    }
    ~PamSession() {
        if (handle != nullptr) pam_end(handle, result);
    }
    PamSession(const PamSession&) = delete;
    PamSession& operator=(const PamSession&) = delete;

    /// Whether PAM accepts the user, under this name; why not goes into *reason.
    bool Accepts(const std::string& user, const std::string& address, std::string* reason) {
        if (result == PAM_SUCCESS) result = pam_set_item(handle, PAM_RHOST, address.c_str());
        if (result == PAM_SUCCESS) {
            result = pam_set_item(handle, PAM_FAIL_DELAY, reinterpret_cast<void*>(PassNoTime));
        }
        constexpr int kFlags = PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK;
        if (result == PAM_SUCCESS && conversation.appdata_ptr != nullptr) {
            result = pam_authenticate(handle, kFlags);
        }
        if (result == PAM_SUCCESS) result = pam_acct_mgmt(handle, kFlags);
        const void* name = nullptr;
        if (result == PAM_SUCCESS) result = pam_get_item(handle, PAM_USER, &name);
        if (result != PAM_SUCCESS) {
            *reason = pam_strerror(handle, result);
        } else if (name == nullptr || user != static_cast<const char*>(name)) {
            *reason = "PAM knows the user by another name";
        }
        return reason->empty();
    }

  private:
    pam_conv conversation;
    pam_handle_t* handle = nullptr;
    int result;
};

std::vector<gid_t> GroupsOf(const std::string& user) {
    std::vector<char> room(kAccountRoom);
    passwd account = {};
    passwd* found = nullptr;
    getpwnam_r(user.c_str(), &account, room.data(), room.size(), &found);
    if (found == nullptr) return {};
    std::vector<gid_t> groups(kMostGroups);
    int count = static_cast<int>(groups.size());
    if (getgrouplist(user.c_str(), account.pw_gid, groups.data(), &count) < 0) return {};
    groups.resize(static_cast<size_t>(count));
    return groups;
}

bool IsInOneOf(const std::vector<gid_t>& groups, const Texts& names) {
    std::vector<char> room(kAccountRoom);
    return std::ranges::any_of(names, [&](const std::string& name) {
        group entry = {};
        group* found = nullptr;
        getgrnam_r(name.c_str(), &entry, room.data(), room.size(), &found);
        return found != nullptr && std::ranges::count(groups, entry.gr_gid) != 0;
    });
}

/// The lock, unless that takes too long, or the client goes meanwhile.
std::unique_lock<std::timed_mutex> WaitForTurn(std::timed_mutex& mutex,
                                               const std::function<bool()>& is_there,
                                               std::string* reason) {
    std::unique_lock lock(mutex, std::defer_lock);
    const auto last = std::chrono::steady_clock::now() + kLongestQueue;
    while (is_there()) {
        if (lock.try_lock_for(kQueueRound)) {
            if (is_there()) return lock;
            lock.unlock();
        } else if (std::chrono::steady_clock::now() >= last) {
            *reason = "too many logins at once";
            return lock;
        }
    }
    *reason = "gone before its turn";
    return lock;
}

}  // namespace

Role RoleOf(const Config& config, const std::string& user, const std::string* password,
            const std::string& address, const std::function<bool()>& is_there,
            std::string* reason) {
    {
        // Not every module of PAM bears threads.
        static std::timed_mutex one_at_a_time;
        const std::unique_lock guard = WaitForTurn(one_at_a_time, is_there, reason);
        if (!guard.owns_lock()) return Role::kNobody;
        if (!PamSession(config, user, password).Accepts(user, address, reason)) {
            return Role::kNobody;
        }
    }
    const std::vector<gid_t> groups = GroupsOf(user);
    if (IsInOneOf(groups, config.operators)) return Role::kOperator;
    if (IsInOneOf(groups, config.readers)) return Role::kReader;
    *reason = "in none of the groups that may log in";
    return Role::kNobody;
}

LoginGuard::Key LoginGuard::KeyOf(const zwmgmt::platform::Address& address) {
    uint64_t number = 0;
    std::memcpy(&number, zwmgmt::platform::NetworkOf(address).bytes, sizeof(number));
    return {address.family, number};
}

LoginGuard::Record& LoginGuard::RecordOf(const Key& key, Clock::time_point now) {
    if (records.size() >= kMostAddresses && !records.contains(key)) {
        std::erase_if(records, [&](const auto& row) { return row.second.last + kMemory < now; });
        if (records.size() >= kMostAddresses) {
            records.erase(std::ranges::min_element(
                records, {}, [](const auto& row) { return row.second.last; }));
        }
    }
    Record& record = records[key];
    if (record.last + kMemory < now) record = {};
    record.last = now;
    return record;
}

LoginGuard::Milliseconds LoginGuard::TurnOf(const zwmgmt::platform::Address& address,
                                            Clock::time_point now) {
    const std::lock_guard guard(lock);
    const auto row = records.find(KeyOf(address));
    if (row == records.end() || row->second.failures == 0) return {};
    Record& record = RecordOf(row->first, now);
    if (record.failures == 0) return {};  // it was long ago
    const auto wait = std::chrono::ceil<Milliseconds>(std::max(record.next, now) - now);
    if (wait > kPatience) return wait;
    const uint32_t doublings = std::min(record.failures - 1, 10u);
    record.next = now + wait + std::min(kFirstPause * (1 << doublings), kLongestPause);
    return wait;
}

void LoginGuard::NoteFailure(const zwmgmt::platform::Address& address, const std::string& user,
                             Clock::time_point now) {
    const std::lock_guard guard(lock);
    Record& record = RecordOf(KeyOf(address), now);
    record.has_several = record.has_several || (record.failures != 0 && record.user != user);
    record.user = user;
    ++record.failures;
    record.next = std::max(record.next, now + kFirstPause);
}

void LoginGuard::NoteSuccess(const zwmgmt::platform::Address& address, const std::string& user) {
    const std::lock_guard guard(lock);
    const auto row = records.find(KeyOf(address));
    if (row == records.end() || row->second.has_several || row->second.user != user) return;
    records.erase(row);
}

uint32_t LoginGuard::FailuresOf(const zwmgmt::platform::Address& address) {
    const std::lock_guard guard(lock);
    const auto row = records.find(KeyOf(address));
    return row != records.end() ? row->second.failures : 0;
}

}  // namespace zmagent
