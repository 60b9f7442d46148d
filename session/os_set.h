/// Sets of agent operating systems, for table rows.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "zwmgmt/vocabulary.h"

namespace zwmgmt {

class OsSet {
  public:
    constexpr OsSet(std::initializer_list<AgentOs> systems) : OsSet(uint16_t{0}) {
        for (AgentOs os : systems) bits = static_cast<uint16_t>(bits | 1u << os);
    }

    /// Every code an agent can send, also those that this client does not know.
    static constexpr OsSet Any() { return OsSet(kAny); }
    static constexpr OsSet AllBut(AgentOs os) {
        return OsSet(static_cast<uint16_t>(kAny ^ 1u << os));
    }

    /// Bit 0 stands for the codes that have none of their own.
    constexpr bool Has(uint8_t os_code) const {
        return (bits >> (os_code < 16 ? os_code : 0) & 1) != 0;
    }

    bool operator==(const OsSet&) const = default;

  private:
    static constexpr uint16_t kAny = 0xFFFF;
    explicit constexpr OsSet(uint16_t value) : bits(value) {}
    uint16_t bits;
};

}  // namespace zwmgmt
