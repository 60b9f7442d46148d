/// Packages that operators install: taken into the spool, then given to the hook of the
/// configuration, one after the other. A user's outcome is kept until the user installs again:
/// command lines ask for it in a session of its own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "agent/host_model.h"
#include "linux_agent/audit.h"
#include "linux_agent/channel.h"
#include "linux_agent/config.h"
#include "linux_agent/hook.h"
#include "linux_agent/spool.h"

namespace zmagent {

namespace agent = zwmgmt::agent;

/// A package, and what is done with it.
struct Installation {
    Installation(std::atomic<int>& its_count, uint64_t its_session)
        : count(its_count), session(its_session) {
        ++count;
    }
    ~Installation() { --count; }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    std::atomic<int>& count;  // of all that there are
    const uint64_t session;
    AuditEntry entry;  // who installs what
    HookRun run;
    std::unique_ptr<Package> package;
};

class Installer {
  public:
    explicit Installer(Audit& audit_log) : audit(audit_log) {}
    ~Installer() { Stop(); }
    /// Ends the hook that runs; those that wait are not begun.
    void Stop();

    /// What became of the packages that the user installed last.
    agent::Reply OutcomeOf(const std::string& user);

  private:
    friend class Delivery;

    /// The outcomes of a user's packages.
    struct Account {
        uint64_t session = 0;
        int unfinished = 0;
        bool is_told = false;
        uint32_t status = 0;  // of the first one that failed
        std::string lines;
    };

    uint64_t NewSession() { return ++sessions; }
    bool HasRoom() const;
    /// Takes it; false when there is no thread for it.
    bool Enqueue(std::unique_ptr<Installation>* installation);
    Account& AccountOf(const std::string& user);
    void Work();
    void Install(Installation& installation);

    Audit& audit;
    std::atomic<uint64_t> sessions = 0;
    std::atomic<int> installations = 0;  // on their way, waiting, or running
    std::atomic<bool> stopping = false;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::unique_ptr<Installation>> waiting;
    std::map<std::string, Account> accounts;  // by user
    std::thread worker;                       // once there is something to do
};

/// What a client's channel brings of packages, one at a time.
class Delivery {
  public:
    Delivery(Installer& its_installer, const Config& its_config)
        : installer(its_installer), config(its_config), session(its_installer.NewSession()) {}
    ~Delivery() { BreakOff(); }

    /// Answers a question about a file of this user's; refusal: why the user may install nothing,
    /// or 0.
    agent::Reply Answer(Asked asked, std::span<const uint8_t> data, const std::string& user,
                        const std::string& address, uint32_t refusal);

  private:
    agent::Reply Announce(const FileRecord& record, AuditEntry entry, uint32_t refusal);
    agent::Reply Begin(const FileRecord& record);
    agent::Reply Take(std::span<const uint8_t> piece);
    agent::Reply Finish();
    agent::Reply Drop(const std::string& reason);
    void BreakOff();
    void Note(const std::string& step, const agent::Reply& reply);

    Installer& installer;
    const Config& config;
    const uint64_t session;
    std::unique_ptr<Installation> arriving;
};

}  // namespace zmagent
