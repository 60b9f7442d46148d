/// Whether an agent can serve a command: by its OS when it speaks this client's interface version,
/// by the newest capabilities known for its OS otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zwmgmt/records/capabilities.h"
#include "zwmgmt/vocabulary.h"

namespace zwmgmt {

/// What an agent can do, and why it last could not.
class Compatibility {
  public:
    /// Keeps an agent's record; false, with nothing kept, when it is cut.
    bool Keep(const void* record, size_t length);
    const Capabilities& Agent() const { return agent; }

    /// A judgement, and what the caller is to print of it.
    struct Verdict {
        bool refused;
        bool other_version;       // warn of it
        bool no_teaming = false;  // say so
    };
    Verdict Judge(const Capabilities& capabilities, uint8_t service, uint16_t command);
    const char* ErrorText() const { return error_text; }

  private:
    bool Refuse(const char* text);
    bool RefusesSameVersion(const Capabilities& capabilities, uint8_t service, uint16_t command);

    Capabilities agent = {};
    char error_text[1024] = "";
};

/// The lowest interface version of an agent that serves this; 0 for a number that is no service.
uint8_t MinimumVersionOf(uint8_t service);

/// Why a service cannot be had from an agent of another version, given the newest capabilities of
/// its OS; the empty text when it can.
void NewestRefusal(const Capabilities& newest, uint8_t service, char* text, size_t capacity);

/// Fills the service words with the newest capabilities of this OS.
void FillNewest(Capabilities* capabilities, AgentOs os);

/// The same for the OS in the record; false for one that is not known.
bool FillNewest(Capabilities* capabilities);

}  // namespace zwmgmt
