/// The parsed request: what a front end hands to the library.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zwmgmt/export.h"

#pragma pack(push, 1)

/// One key of a request, or its sub-command word.
struct Client_Request_Argument {
    const char* value;  ///< value text; in entry 0 the sub-command word, or ""
    int32_t key;        ///< key number; in entry 0 the sub-command number or -1
};

/// Service, command and arguments as numbers (vocabulary look-ups give them). Entry 0 is always the
/// slot of the sub-command word, the keys are entries 1 to argument_count - 1; only "ping" and
/// "traceroute" carry nothing but keys, from entry 0 on. The texts belong to the caller.
struct Client_Request_Message {
    uint8_t service;                     ///< zwmgmt::Service
    uint16_t command;                    ///< ZwMgmt_interface::CLGetCommand has its number
    uint8_t qualifier;                   ///< selector within some services; otherwise 0
    Client_Request_Argument* arguments;  ///< argument_count entries
    uint32_t argument_count;             ///< entry 0 included
};

#pragma pack(pop)

static_assert(sizeof(Client_Request_Argument) == 12 && offsetof(Client_Request_Argument, key) == 8);
static_assert(sizeof(Client_Request_Message) == 16 &&
              offsetof(Client_Request_Message, command) == 1 &&
              offsetof(Client_Request_Message, qualifier) == 3 &&
              offsetof(Client_Request_Message, arguments) == 4 &&
              offsetof(Client_Request_Message, argument_count) == 12);

namespace zwmgmt {

/// A command line turned into a request, without any connection.
///
///     const char* words[] = {"korvane", "listadapterprops"};
///     zwmgmt::CommandWords command(words, 2);
///     if (command.Request() == nullptr) puts(command.Error());
///
/// Owns its texts: the request is valid while the object lives, and is not copied.
class ZWMGMT_API CommandWords {
  public:
    /// words: SERVICE COMMAND [SUBCOMMAND] [key=value ...], copied.
    CommandWords(const char* const* words, size_t count) noexcept;

    /// key=value words (an optional sub-command word before them) for a command given by numbers.
    CommandWords(uint8_t service, uint16_t command, uint8_t qualifier, const char* const* words,
                 size_t count) noexcept;

    ~CommandWords();
    CommandWords(const CommandWords&) = delete;
    CommandWords& operator=(const CommandWords&) = delete;

    /// The request, or null when a word is unknown or malformed. Owned by this object.
    [[nodiscard]] Client_Request_Message* Request() noexcept;

    /// What is wrong, naming the word and the nearest known ones; one or more lines without a final
    /// line end, "" when nothing is wrong. Owned by this object.
    [[nodiscard]] const char* Error() const noexcept;

  private:
    struct ZWMGMT_LOCAL Parts;
    Parts* parts;
};

}  // namespace zwmgmt
