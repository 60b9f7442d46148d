/// The privileged half: answers what the network half asks for its clients, after it has checked
/// everything itself. It trusts that half with nothing but the bytes of one client's session.
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <thread>

#include "linux_agent/audit.h"
#include "linux_agent/certificates.h"
#include "linux_agent/config.h"
#include "linux_agent/confirmations.h"
#include "linux_agent/descriptor.h"
#include "linux_agent/host.h"
#include "linux_agent/installer.h"
#include "linux_agent/login.h"
#include "linux_agent/probes.h"

namespace zmagent {

/// What sessions that begin now are served by.
struct Service {
    Config config;
    std::unique_ptr<Host> host;
    Authorities authorities = {};  // null: certificates log nobody in
};

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
