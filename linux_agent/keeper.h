/// The privileged half: answers what the network half asks for its clients, after it has checked
/// everything itself. It trusts that half with nothing but the bytes of one client's session.
#pragma once

#include <atomic>
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

    /// Serves a client's channel in a thread of its own, until the network half closes it.
    void Begin(std::shared_ptr<const Service> service, Descriptor channel, Descriptor client);
    /// Forgets the sessions that are over.
    void Reap();

  private:
    struct Session {
        std::atomic<bool> done = false;
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
