/// What there is to say of commands at one agent: on standard error at once, or kept for later.
#pragma once

#include <string>
#include <vector>

#include "front_end/answer.h"

namespace zwcli {

class Teller {
  public:
    enum class Voice { kAloud, kQuiet };

    explicit Teller(Voice run_voice) : voice(run_voice) {}

    /// What follows is of this command; place: where it is written ("" on the command line).
    void Begin(Answer* command_answer, const std::string& command_place);

    bool IsQuiet() const { return voice == Voice::kQuiet; }
    Answer& Current() { return *answer; }

    void Say(const std::string& text);
    /// Says it, and keeps it among the answer's messages.
    void Note(const std::string& text);
    /// The same of what is the session's, not the command's.
    void NoteOfSession(const std::string& text);
    /// Says why there is no answer, or why it is no success.
    ExitStatus Fail(ExitStatus exit_status, const std::string& text);

    /// Whether anything was said of the command.
    bool HasSpoken() const { return has_spoken; }
    /// What was kept of the command.
    std::vector<std::string> Take() { return std::move(kept); }

  private:
    void Tell(const std::string& text);

    const Voice voice;
    Answer* answer = nullptr;
    std::string place;
    bool has_spoken = false;
    std::vector<std::string> kept;
};

}  // namespace zwcli
