/// A parsed request becomes an exchange: handler, round trip, printer or list.
#include <ctime>
#include <memory>
#include <new>

#include "commands/handler.h"
#include "commands/list_kinds.h"
#include "commands/reports.h"
#include "commands/routes.h"
#include "session/state.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

/// What the dispatcher says about a request that failed, and what that means for the session.
struct ReportRow {
    uint32_t status;
    const char* text;
    bool disconnected = false;
};

constexpr ReportRow kReports[] = {
    {kRequestRefused, ""},
    {kInvalidValue, "\nInvalid value specified\n"},
    {kReadError, "\nError reading from socket\n"},
    {kWriteError, "\nError writing to socket\n"},
    {kNoReadWriteToken, "No read write token available\n"},
    {kNotConnected, "ERROR: no connection to the managed system!\n", true},
};

/// Whether the request has arguments that its command does not take.
bool HasTooMany(const Client_Request_Message& request, Arguments takes) {
    if (takes == Arguments::kSome || request.argument_count == 0 || request.arguments == nullptr) {
        return false;
    }
    const char* sub_command = request.arguments[0].value;
    return (sub_command != nullptr && sub_command[0] != '\0') ||
           (takes == Arguments::kNone && request.argument_count > 1);
}

/// Fills the message; the handler's result.
int Build(ZwMgmt_interface& session, const Route& route, Client_Request_Message* request,
          _Message* message, char* result_buffer, void** out) {
    if (route.build != nullptr) return route.build(session, request, message, result_buffer, out);
    if (route.form == nullptr) return Fill(session, message, route.service, route.command);
    const std::unique_ptr<char[]> record(new (std::nothrow) char[route.form->record_size]());
    if (record == nullptr) return Refuse(session, "out of memory\n");
    return BuildRequest(session, request, message, *route.form, record.get());
}

uint32_t Dispatch(ZwMgmt_interface& session, _Message* message, Client_Request_Message* request,
                  char* result_buffer, void** out) {
    if (out != nullptr) *out = nullptr;
    if (message == nullptr || result_buffer == nullptr) return kMissingArgument;
    *message = {};
    SessionState& own = SessionState::Of(session);
    if (request != nullptr) own.exchange.SetCommand(request->service, request->command);
    const bool local =
        request != nullptr && ZwMgmt_interface::NeedsNoAgent(request->service, request->command);
    const bool dry = own.voice.remarks != nullptr;
    if (!session.Connected() && !local && !dry) return kNotConnected;
    if (request == nullptr) {
        session.PrintOutput("Invalid argument specified\n");
        return kRequestRefused;
    }
    const Route* route = FindRoute(request->service, request->command);
    if (route == nullptr) {
        session.PrintOutput("Invalid command for the service\n");
        return kInvalidCommand;
    }
    if (HasTooMany(*request, route->arguments)) {
        session.PrintOutput("Invalid argument specified\n");
        return kRequestRefused;
    }
    message->os_type = session.OsType();
    const int refused = Build(session, *route, request, message, result_buffer, out);
    if (refused != 0) return static_cast<uint32_t>(refused);
    if (local || dry) return own.status = kSuccess;
    if (route->reply == ReplyShape::kOwn) {
        if (message->status == kSuccess) own.last_success_time = std::time(nullptr);
        return kSuccess;
    }

    void* output = nullptr;
    const auto kind =
        route->reply == ReplyShape::kList ? FindListKind(request->command) : std::nullopt;
    const uint32_t failed =
        kind ? session.Client_TalkToServer(message, result_buffer, kind->record_size(),
                                           kind->node_size, kind->pointer_count(),
                                           session.AgentWordSize(), &output)
             : session.Client_TalkToServer(message, result_buffer, 0, 0, 0, session.AgentWordSize(),
                                           route->reply == ReplyShape::kBlock ? &output : nullptr);
    if (failed == kListNotBuilt) session.PrintOutput("out of memory\n");
    if (failed != kSuccess) return failed;
    if (message->status == kSuccess) own.last_success_time = std::time(nullptr);

    const int printed = session.CLPrint(output, request->command, message);
    if (own.voice.build_list_mode && out != nullptr) {
        *out = output;
    } else {
        ZwMgmt_interface::CLFreeMem(request->command, output);
    }
    return static_cast<uint32_t>(printed);
}

}  // namespace

void zwmgmt::SetLastStatus(ZwMgmt_interface& session, uint32_t status) {
    SessionState::Of(session).status = status;
}

bool zwmgmt::ReportStatus(ZwMgmt_interface& session, uint32_t status) {
    for (const ReportRow& row : kReports) {
        if (row.status != status) continue;
        session.PrintOutput("%s", row.text);
        if (row.disconnected) SessionState::Of(session).exchange.SetConnected(false);
        return true;
    }
    return false;
}

bool ZwMgmt_interface::NeedsNoAgent(uint8_t service, uint16_t command) {
    const Route* route = FindRoute(service, command);
    return route != nullptr && route->reply == ReplyShape::kNone;
}

int ZwMgmt_interface::Client_ProcessRequest(Client_Request_Message* request, char* result_buffer,
                                            void** out) {
    _Message message = {};
    return Client_ProcessRequest(&message, request, result_buffer, out);
}

int ZwMgmt_interface::Client_ProcessRequest(_Message* message, Client_Request_Message* request,
                                            char* result_buffer, void** out) {
    char scratch_text[1024] = {};
    return Client_ProcessRequest(message, result_buffer, nullptr, request, scratch_text, out);
}

int ZwMgmt_interface::Client_ProcessRequest(_Message* message, char* result_buffer,
                                            uint8_t* /*scratch_bytes*/,
                                            Client_Request_Message* request, char* /*scratch_text*/,
                                            void** out) {
    const uint32_t result = Dispatch(*this, message, request, result_buffer, out);
    if (result != kSuccess) SetLastStatus(*this, result);
    ReportStatus(*this, result);
    return static_cast<int>(result);
}

int ZwMgmt_interface::Client_ProcessRequest(uint8_t service, uint16_t command, uint8_t qualifier,
                                            const char* const* argument_words, int count,
                                            char* result_buffer, void** out) {
    _Message message = {};
    return Client_ProcessRequest(&message, service, command, qualifier, argument_words, count,
                                 result_buffer, out);
}

int ZwMgmt_interface::Client_ProcessRequest(_Message* message, uint8_t service, uint16_t command,
                                            uint8_t qualifier, const char* const* argument_words,
                                            int count, char* result_buffer, void** out) {
    CommandWords words(service, command, qualifier, argument_words,
                       count > 0 ? static_cast<size_t>(count) : 0);
    const uint32_t result = Dispatch(*this, message, words.Request(), result_buffer, out);
    if (result != kSuccess) SetLastStatus(*this, result);
    return ReportStatus(*this, result) ? static_cast<int>(result) : 0;
}
