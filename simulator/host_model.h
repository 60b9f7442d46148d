/// The seam between the two halves of the simulated agent: the wire half carries requests, a host
/// model answers them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "simulator/file_receiver.h"

namespace zmsim {

/// A request's outcome. Data goes out only with status 0.
struct Reply {
    uint32_t status = 0;
    std::vector<uint8_t> data;
};

class HostModel {
  public:
    virtual ~HostModel() = default;

    /// What the opening reply says of the host.
    virtual uint8_t OsType() const = 0;
    virtual uint8_t WordSize() const = 0;

    /// Called from many threads at once.
    virtual Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) = 0;

    /// Whether the request needs the read-write token; called from many threads at once.
    virtual bool Changes(uint8_t /*service*/, uint16_t /*opcode*/) const { return true; }

    /// A file has been pushed, whole and in order.
    virtual void FileArrived(const ReceivedFile& /*file*/) {}
};

}  // namespace zmsim
