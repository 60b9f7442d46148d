/// The exchanges of a session over its connection: what is sent, what is answered, how long that
/// may take, and whether the two are still in step.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "session/connection.h"
#include "session/session_result.h"
#include "zwmgmt/message.h"
#include "zwmgmt/trace.h"

namespace zwmgmt {

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};
/// The data of a reply.
using ReplyData = std::unique_ptr<uint8_t, FreeBlock>;

/// The longest reply that a session takes without being told otherwise.
inline constexpr uint32_t kUsualReplyLimit = 64u << 20;

/// Whom messages are shown to.
struct Tracer {
    TraceFunction* function = nullptr;  // null: nobody
    void* context = nullptr;
};

/// Wipes and frees the data of a request.
void DropData(_Message* message);

/// Copies are over the same connection, which goes with Release.
class Exchange {
  public:
    // ---- Connection ---------------------------------------------------------------------------

    /// Connects; an earlier connection goes first.
    uint32_t Connect(SSL_CTX* context, const char* host, uint16_t port, const PeerCheck& check,
                     std::span<char> address);
    /// Ends the connection without a word to the agent.
    void Release();
    /// Says goodbye to an agent that has granted the token.
    void LogOut();

    /// The TLS that is spoken over; null where there is none.
    SSL* Tls() const { return connection != nullptr ? connection->Tls() : nullptr; }

    /// Whether the agent has granted the read-write token, and nothing has broken since.
    bool Connected() const { return connected; }
    void SetConnected(bool granted) { connected = granted; }

    // ---- Settings -----------------------------------------------------------------------------

    void SetReceiveTimeout(uint32_t seconds) { receive_timeout_seconds = seconds; }
    void SetReplyLimit(uint32_t bytes) { reply_limit = bytes; }
    uint8_t AgentOs() const { return agent_os; }
    void SetAgentOs(uint8_t os_type) { agent_os = os_type; }
    /// What is asked next, which has a say in how long its answer may take.
    void SetCommand(uint8_t service, uint16_t command);
    uint32_t ReceiveTimeoutSeconds() const;

    // ---- Exchange -----------------------------------------------------------------------------
    // What is left of a broken exchange on the wire would be taken for the next reply: RoundTrip
    // ends the session itself then, and whoever uses its steps does so with Lose.

    /// Sends the message and receives its answer, with its data where there are any. The message's
    /// data are wiped and freed, sent or not.
    SessionResult RoundTrip(_Message* message, char* result_buffer, ReplyData* data);

    /// Whether there is a connection to send over, in step and without unasked data.
    bool CanAsk();
    /// Data that nobody asked for would be taken for the answer to what is sent next; with them the
    /// session ends.
    bool HeardUnasked();

    /// Header and data leave in as few TLS records as they fit into.
    SessionResult Send(const _Message& message);
    SessionResult Send(const uint8_t* bytes, uint32_t length, bool* header_sent);
    /// Receives a header. The message stays as it is where none comes.
    SessionResult Receive(_Message* message);
    /// The same with an empty message and result buffer.
    SessionResult ReceiveAnswer(char* result_buffer, _Message* message);

    /// Ends the session; returns the reason.
    SessionResult Lose(SessionResult reason);

    const _Message& LastReplyHeader() const { return last_reply_header; }

    Patience patience;     ///< of the connections to come
    FailureDetail detail;  ///< of the last failure
    Tracer tracer;         ///< sees every message

  private:
    SessionResult ReceiveBlock(uint32_t length, ReplyData* block);
    void TakeAlert();
    void Show(bool sent, const _Message& header, const void* data) const;
    Moved ReceiveBytes(uint8_t* bytes, uint32_t length);

    Connection* connection = nullptr;
    bool connected = false;
    bool out_of_step = false;  // a broken exchange is on the wire: it takes no other
    uint8_t agent_os = 0;
    uint8_t current_service = 0;
    uint16_t current_command = 0;
    uint32_t receive_timeout_seconds = 0;  // 0: by command and agent
    uint32_t reply_limit = kUsualReplyLimit;
    _Message last_reply_header = {};
};

}  // namespace zwmgmt
