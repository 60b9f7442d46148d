/// The host as the privileged half asks it: a host model that knows who asks.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "agent/host_model.h"
#include "platform/address.h"

namespace zmagent {

/// The addresses of a client's connection.
struct Ends {
    zwmgmt::platform::Address host;
    zwmgmt::platform::Address client;
};

/// The client whose request is answered. The functions are for one that changes what he comes by;
/// they may be called from any thread, as long as the host is there, `change` while this is there.
struct Client {
    std::optional<Ends> ends = {};  // nothing: nobody comes by an interface
    /// The change itself, which is made when the answer has gone out. None: it has been made.
    std::function<zwmgmt::agent::Reply()> change = {};
    /// Takes it back when it was made: empty, or what could not be put back.
    std::function<std::string()> put_back = {};
};

class Host : public zwmgmt::agent::HostModel {
  public:
    virtual zwmgmt::agent::Reply AnswerTo(Client& client, uint8_t service, uint16_t opcode,
                                          std::span<const uint8_t> data) = 0;
};

}  // namespace zmagent
