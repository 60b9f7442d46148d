/// The library's one voice, and the way from a reply to its printer.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "commands/remarks.h"
#include "commands/routes.h"
#include "commands/talk.h"
#include "output/lines.h"
#include "output/records.h"
#include "session/state.h"

using namespace zwmgmt;

int zwmgmt::AppendPrinted(std::string* text, const char* format, va_list arguments) noexcept {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length <= 0) return length;
    const size_t before = text->size();
    try {
        text->resize(before + static_cast<size_t>(length) + 1);
    } catch (const std::bad_alloc&) {  // what is said is lost; the data are not
        return -1;
    }
    std::vsnprintf(text->data() + before, static_cast<size_t>(length) + 1, format, arguments);
    text->pop_back();
    return length;
}

Remarks* Remarks::Of(ZwMgmt_interface& session) { return SessionState::Of(session).voice.remarks; }

void Remarks::Attach(ZwMgmt_interface& session, uint8_t os_type, Remarks* remarks) {
    SessionState& state = SessionState::Of(session);
    state.exchange.SetAgentOs(os_type);
    state.voice.remarks = remarks;
}

Talk::Talk(ZwMgmt_interface& talking_session, Lists lists)
    : session(talking_session),
      former(SessionState::Of(session).voice.talk),
      former_list_mode(SessionState::Of(session).voice.build_list_mode) {
    SessionState::Of(session).voice.talk = this;
    if (lists == Lists::kHandedOut) session.SetBuildListMode();
}

Talk::~Talk() {
    Voice& voice = SessionState::Of(session).voice;
    voice.talk = former;
    voice.build_list_mode = former_list_mode;
}

namespace {

/// The reply of a command that has no printer of its own.
void PrintAsDescribed(ZwMgmt_interface& session, const Route& route, const void* output,
                      const _Message& message) {
    if (message.status != kSuccess) {
        session.PrintOutput("Command failed\n");
    } else if (route.records != nullptr) {
        PrintRecords(session, *route.records, output, message.data_length);
    } else {
        session.PrintOutput("Successful\n");
    }
}

}  // namespace

std::vector<std::string> Talk::Lines() {
    std::vector<std::string> lines;
    ForEachPiece(said, '\n', [&](std::string_view line) {
        while (line.ends_with('\r')) line.remove_suffix(1);
        line.remove_prefix(line.rfind('\r') + 1);
        while (line.ends_with(' ')) line.remove_suffix(1);
        if (!line.empty()) lines.emplace_back(line);
    });
    said.clear();
    return lines;
}

std::string Talk::OutcomeOf(void* data, const Client_Request_Message& request, _Message* message) {
    session.ResetBuildListMode();
    session.CLPrint(data, request.command, message);
    session.SetBuildListMode();
    std::string text;
    for (const std::string& line : Lines()) text.append(text.empty() ? "" : "\n").append(line);
    return text;
}

int ZwMgmt_interface::PrintOutput(const char* format, ...) {
    const Voice& voice = SessionState::Of(*this).voice;
    va_list arguments;
    va_start(arguments, format);
    const int printed = voice.remarks != nullptr
                            ? AppendPrinted(&voice.remarks->printed, format, arguments)
                        : voice.talk != nullptr ? voice.talk->Take(format, arguments)
                                                : std::vfprintf(voice.Stream(), format, arguments);
    va_end(arguments);
    return printed;
}

int ZwMgmt_interface::CLPrintMsg(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    while (*format != '\0') {
        const size_t plain = std::strcspn(format, "%");
        if (plain != 0) PrintOutput("%.*s", static_cast<int>(plain), format);
        format += plain;
        if (*format == '\0') break;
        switch (*++format) {
            case '%': PrintOutput("%%"); break;
            case 'c': PrintOutput("%c", va_arg(arguments, int)); break;
            case 'd': PrintOutput("%d", va_arg(arguments, int)); break;
            case 's': PrintOutput("%s", va_arg(arguments, const char*)); break;
            default: break;
        }
        if (*format != '\0') ++format;
    }
    va_end(arguments);
    return 0;
}

int ZwMgmt_interface::CLPrint(void* output, int command, _Message* message) {
    if (message == nullptr) return 1;
    if (message->status == kNotSupported) {
        std::fputs("The Command is not supported by the server.\n", stderr);
        return kNotSupported;
    }
    if (command == 0) return 0;
    // The command numbers of msteam overlap with the others'; it has no printer of its own yet.
    const Route* route = message->service == kMsteam || command >= kFirstUnusedCommand
                             ? nullptr
                             : FindRoute(command);
    if (route == nullptr) {
        PrintOutput("Response received for invalid command!\n");
        return 1;
    }
    if (SessionState::Of(*this).voice.build_list_mode) return 0;
    if (route->print != nullptr) {
        route->print(*this, output, message);
    } else if (route->reply != ReplyShape::kNone && route->reply != ReplyShape::kOwn) {
        PrintAsDescribed(*this, *route, output, *message);
    }
    return 0;
}
