#include "front_end/teller.h"

#include "front_end/say.h"

namespace zwcli {

void Teller::Begin(Answer* command_answer, const std::string& command_place) {
    answer = command_answer;
    place = command_place;
    has_spoken = false;
    kept.clear();
}

void Teller::Say(const std::string& text) {
    has_spoken = true;
    Tell(place.empty() ? text : place + ": " + text);
}

void Teller::Tell(const std::string& text) {
    if (IsQuiet()) {
        kept.push_back(text);
    } else {
        zwcli::Say(text);
    }
}

void Teller::NoteOfSession(const std::string& text) {
    answer->messages.push_back(text);
    Tell(text);
}

void Teller::Note(const std::string& text) {
    answer->messages.push_back(text);
    Say(text);
}

ExitStatus Teller::Fail(ExitStatus exit_status, const std::string& text) {
    answer->message = text;
    Say(text);
    return exit_status;
}

}  // namespace zwcli
