/// The wire message: the unit of every exchange with an agent.
///
/// A 26-byte packed header travels first, then data_length bytes of data. Integers are
/// little-endian, copied as they stand in memory. The agent's reply overwrites the header in place.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

static_assert(std::endian::native == std::endian::little,
              "wire records are copied as they stand in memory");
static_assert(sizeof(void*) == 8, "list nodes and requests have 64-bit pointers");

#pragma pack(push, 1)

/// One message: the header as it travels, followed in memory by the pointer to its data area, which
/// never travels. A reply with a nonzero status has no data area, whatever data_length says.
struct _Message {
    uint8_t reserved0;
    uint8_t os_type;    ///< request: the agent's OS code; opening reply: that code
    uint8_t word_size;  ///< opening reply: bytes of a pointer on the agent's side
    uint8_t rw_token;   ///< opening reply: nonzero when the read-write token is granted
    uint8_t service;    ///< zwmgmt::Service; 0 in opening, login and logout
    uint8_t qualifier;  ///< selector within some services; otherwise 0
    uint16_t opcode;    ///< operation within the service; opening reply: nonzero asks for a login
    uint8_t reserved8;
    uint32_t data_length;  ///< bytes that follow the header
    uint8_t reserved13;
    uint32_t status;  ///< request: 0; reply: 0 or the agent's reason for refusing
    uint8_t reserved18[8];
    void* data;  ///< heap block (malloc) of data_length bytes, or null
};

/// The 580 bytes of the opening and the login message.
struct LoginRecord {
    uint32_t reserved;     ///< 0
    char user_name[256];   ///< as given to CLConnectToServer
    char password[64];     ///< empty in the opening message
    char local_user[256];  ///< who runs the client on this machine
};

#pragma pack(pop)

/// What programs see beside the class of sessions and the records.
namespace zwmgmt {

/// Bytes of a header as it travels.
inline constexpr uint16_t kHeaderSize = offsetof(_Message, data);

/// Bytes of the result buffer that a program lends to every exchange.
inline constexpr uint32_t kResultBufferSize = 262'144;

/// Opcode, with service 0, that ends a session.
inline constexpr uint16_t kLogoutOpcode = 1;

}  // namespace zwmgmt

static_assert(zwmgmt::kHeaderSize == 26 && sizeof(_Message) == 34);
static_assert(offsetof(_Message, opcode) == 6 && offsetof(_Message, data_length) == 9 &&
              offsetof(_Message, status) == 14 && offsetof(_Message, reserved18) == 18);
static_assert(sizeof(LoginRecord) == 580 && offsetof(LoginRecord, user_name) == 4 &&
              offsetof(LoginRecord, password) == 260 && offsetof(LoginRecord, local_user) == 324);
