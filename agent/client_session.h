/// One client's session: opening, login and logout, files, and requests for the host model. Which
/// messages a client may send depends on what it has sent before.
#pragma once

#include <cstdint>
#include <span>

#include "agent/file_receiver.h"
#include "agent/host_model.h"
#include "agent/options.h"
#include "agent/wire.h"
#include "zwmgmt/message.h"

namespace zwmgmt::agent {

class ClientSession {
  public:
    /// All of them outlive the session.
    ClientSession(Wire& session_wire, HostModel& host_model, const Options& agent_options)
        : wire(session_wire), model(host_model), options(agent_options), files(host_model) {}

    /// Serves one message; false when the session is over.
    bool ServeOne();

  private:
    using Data = std::span<const uint8_t>;

    bool ServeControl(const _Message& header, Data data);
    bool ServeOpening();
    bool ServeLogin(const LoginRecord& record);
    bool ServeRequest(const _Message& request, Data data);
    _Message AnswerTo(const _Message& request, uint32_t status) const;
    bool Send(const _Message& header, Data data = {});

    Wire& wire;
    HostModel& model;
    const Options& options;
    FileReceiver files;
    bool opened = false;
    bool login_pending = false;
};

}  // namespace zwmgmt::agent
