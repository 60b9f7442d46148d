/// The privileged half: answers what the network half asks for its clients, after it has checked
/// everything itself. It trusts that half with nothing but the bytes of one client's session.
#pragma once

#include <atomic>
#include <chrono>
#include <list>
#include <memory>
#include <thread>

#include "linux_agent/client_service.h"
#include "linux_agent/descriptor.h"

namespace zmagent {

class Keeper {
  public:
    explicit Keeper(Audit& audit_log) : audit(audit_log) {}
    ~Keeper();

    using Clock = std::chrono::steady_clock;

    /// Serves a client's channel in a thread of its own, until the network half closes it.
    void Begin(std::shared_ptr<const Service> service, Descriptor channel, Descriptor client);
    /// Ends the sessions that are served by it; null: all.
    void HangUp(const Service* service);
    /// Forgets the sessions that are over.
    void Reap();
    /// Puts back what is not confirmed, ends hooks and sessions; false when sessions are not over
    /// in time.
    bool Close(Clock::time_point last);

  private:
    struct Session {
        std::atomic<bool> done = false;
        std::weak_ptr<const ClientService> served;
        std::thread thread;
    };

    Audit& audit;
    LoginGuard logins;
    Probes probes;
    Confirmations confirmations;
    Installer installer{audit};
    std::list<Session> sessions;
};

}  // namespace zmagent
