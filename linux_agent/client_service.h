/// What the privileged half does for one client: it answers what the network half asks for him,
/// after it has checked everything itself.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "linux_agent/audit.h"
#include "linux_agent/certificates.h"
#include "linux_agent/channel.h"
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

/// What all clients share.
struct Shared {
    Audit& audit;
    LoginGuard& logins;
    Probes& probes;
    Installer& installer;
    Confirmations& confirmations;
};

class ClientService {
  public:
    ClientService(std::shared_ptr<const Service> its_service, const Shared& with_others,
                  Descriptor its_channel, Descriptor its_client, const Ends& its_ends);

    bool IsServedBy(const Service* its_service) const { return service.get() == its_service; }
    /// Ends it, from any thread.
    void HangUp() const;
    /// Answers one question; false when there are no more.
    bool AnswerOne();

  private:
    using Data = std::span<const uint8_t>;

    uint32_t LongestQuestion(Asked asked) const;
    bool LogIn(Data data);
    /// Who is refused may give a password.
    bool LogInByCertificate(Data chain);
    /// The end of a login, which the role is the outcome of; its status.
    uint32_t Conclude(AuditEntry entry);
    /// Whether it is this client's turn to try; why not goes into *reason.
    bool WaitForTurn(std::string* reason);
    bool IsQuiet(int milliseconds) const;
    bool Serve(uint8_t service_code, uint16_t opcode, Data data);
    /// The change stays when the user comes again; false when that cannot be waited for.
    bool Expect(AuditEntry entry, const std::function<std::string()>& put_back) const;
    /// Why this user may not ask for it; 0: he may.
    uint32_t RefusalOf(uint8_t service_code, uint16_t opcode) const;
    agent::Reply AnswerTo(Client& asking, uint8_t service_code, uint16_t opcode, Data data);
    bool Tell(const agent::Reply& reply);
    /// Until the client's side has received it.
    bool TellAndWait(const agent::Reply& reply);

    const std::shared_ptr<const Service> service;
    const Shared shared;
    Delivery delivery;
    const Descriptor channel;
    const Descriptor client;
    const Ends ends;
    const std::string address_text;
    const Confirmations::Clock::time_point began = Confirmations::Clock::now();
    const std::function<bool()> is_there = [this] { return IsQuiet(0); };
    Role role = Role::kNobody;
    bool has_shown_certificates = false;
    std::string user;
};

}  // namespace zmagent
