/// What there is to say of a request's arguments before it is sent.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zwmgmt/export.h"
#include "zwmgmt/message.h"
#include "zwmgmt/request.h"

class ZwMgmt_interface;

namespace zwmgmt {

/// One thing to say of a request.
struct ArgumentNote {
    /// How grave it is.
    enum Severity : uint8_t {
        kWarning,  ///< the request is sent, but not all of it means what was written
        kRefusal,  ///< the library refuses the request: nothing is sent
    };
    Severity severity;  ///< how grave it is
    int32_t argument;   ///< entry of the request's arguments; -1: the request as a whole
    const char* text;   ///< a line without its end, with the key and the value that were written
};

/// Builds a request for the agent of a session as Client_ProcessRequest would, but neither sends
/// nor prints anything, and notes what a person should know: values that are sent otherwise than
/// written, and for a refused entry what it may be.
///
///     zwmgmt::ArgumentNotes notes(session, command.Request());
///     for (size_t i = 0; i < notes.Count(); ++i) fprintf(stderr, "%s\n", notes[i].text);
///
/// Owns its texts, and is not copied. Without memory there are no notes.
class ZWMGMT_API ArgumentNotes {
  public:
    /// The session's agent OS counts; it need not be connected still. Before it was, agents of
    /// every OS count: only what all of them would be refused is, and nothing else is noted. The
    /// session is left as it is.
    ArgumentNotes(const ZwMgmt_interface& session, Client_Request_Message* request) noexcept;
    /// The same as for an agent of this OS (AgentOs), whatever the session knows.
    ArgumentNotes(const ZwMgmt_interface& session, Client_Request_Message* request,
                  uint8_t os_type) noexcept;
    ~ArgumentNotes();
    ArgumentNotes(const ArgumentNotes&) = delete;
    ArgumentNotes& operator=(const ArgumentNotes&) = delete;

    /// How many there are; refusals among them.
    [[nodiscard]] size_t Count() const noexcept;

    /// The note with an index below Count(). Owned by this object.
    [[nodiscard]] ArgumentNote operator[](size_t index) const noexcept;

    /// Whether Client_ProcessRequest will refuse the request by itself, without asking the agent.
    [[nodiscard]] bool Refused() const noexcept;

    /// The messages that Client_ProcessRequest would send: one, or an announcement for each file;
    /// none when it refuses the request, asks no agent, or the agent's OS is not known.
    [[nodiscard]] size_t MessageCount() const noexcept;

    /// The message with an index below MessageCount(): a header, and data_length bytes of data.
    /// Owned by this object.
    [[nodiscard]] _Message MessageAt(size_t index) const noexcept;

    /// What Client_ProcessRequest prints when it refuses the request. Owned by this object.
    [[nodiscard]] const char* RefusalText() const noexcept;

  private:
    struct ZWMGMT_LOCAL Parts;
    Parts* parts;
};

}  // namespace zwmgmt
