/// The log of all that clients ask for: a line a request. Passwords are in none of them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace zmagent {

struct AuditEntry {
    std::string user;                                            // "" before the login
    std::string address;                                         // of the client
    std::string command;                                         // "korvane setportproperty"
    std::vector<std::pair<std::string, std::string>> keys = {};  // what was asked for, in words
    uint32_t status = 0;
    std::string reason = {};  // of a failure
};

/// The entry of a request: its command and keys as they stand in the data.
AuditEntry EntryOf(uint8_t service, uint16_t opcode, std::span<const uint8_t> data);

/// A line without its end; whatever clients have sent is quoted and without control characters.
std::string LineOf(const AuditEntry& entry);

class Audit {
  public:
    Audit() = default;
    ~Audit();
    Audit(const Audit&) = delete;
    Audit& operator=(const Audit&) = delete;

    /// "journal", or a file that is appended to, and opened anew when it is named again. False,
    /// with the reason in *error, when it cannot be written to: then all stays as it was.
    bool Open(const std::string& to, std::string* error);

    /// An entry that cannot be written goes to standard error.
    void Note(const AuditEntry& entry);

  private:
    bool Write(const AuditEntry& entry);

    std::mutex lock;
    FILE* file = nullptr;  // null: the journal
};

}  // namespace zmagent
