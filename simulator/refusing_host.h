/// A host that refuses files as it is told, and otherwise is the one behind it.
#pragma once

#include <cstdint>
#include <span>

#include "agent/host_model.h"

namespace zmsim {

namespace agent = zwmgmt::agent;

struct FileRefusals {
    uint32_t announcement = 0;  // status to refuse every file with; 0: take them
    uint32_t chunk = 0;         // number of the chunk to refuse; 0: none
};

class RefusingHost : public agent::HostModel {
  public:
    /// The host behind it outlives it.
    RefusingHost(agent::HostModel& host_behind, const FileRefusals& file_refusals)
        : host(host_behind), refusals(file_refusals) {}

    uint8_t OsType() const override { return host.OsType(); }
    uint8_t WordSize() const override { return host.WordSize(); }
    agent::Reply Answer(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) override {
        return host.Answer(service, opcode, data);
    }
    bool Changes(uint8_t service, uint16_t opcode) const override {
        return host.Changes(service, opcode);
    }
    agent::FileOpening OpenFile(const agent::FileAnnouncement& file) override;

  private:
    agent::HostModel& host;
    const FileRefusals refusals;
};

}  // namespace zmsim
