/// What the library says while it works, kept apart from the data.
#pragma once

#include <cstdarg>
#include <string>
#include <utility>
#include <vector>

#include "zwmgmt/zwmgmt_interface.h"

namespace zwmgmt {

/// Appends what printf would print; nothing without memory. Returns printf's count.
int AppendPrinted(std::string* text, const char* format, va_list arguments) noexcept;

/// As long as it lives, it takes what the session would print; lists are handed out, or printed
/// with the rest.
class Talk {
  public:
    enum class Lists { kHandedOut, kPrinted };

    explicit Talk(ZwMgmt_interface& talking_session, Lists lists = Lists::kHandedOut);
    ~Talk();
    Talk(const Talk&) = delete;
    Talk& operator=(const Talk&) = delete;

    int Take(const char* format, va_list arguments) noexcept {
        return AppendPrinted(&said, format, arguments);
    }

    /// What was said since the last call, a line each; of a line that was written over and over
    /// (a progress) its last state.
    std::vector<std::string> Lines();

    /// The same as it would have been printed.
    std::string Text() { return std::exchange(said, ""); }

    /// Prints the reply of a command, which is a text alone, and returns it.
    std::string OutcomeOf(void* data, const Client_Request_Message& request, _Message* message);

  private:
    ZwMgmt_interface& session;
    Talk* const former;
    const bool former_list_mode;
    std::string said;
};

}  // namespace zwmgmt
