/// Requests that load, reload and unload drivers.
#include "commands/arguments.h"
#include "commands/command_keys.h"
#include "commands/handler.h"
#include "commands/keys.h"
#include "commands/remarks.h"

using namespace zwmgmt;

namespace {

constexpr int kNameKey = SystemKey("drvname");
constexpr int kVirtualFunctionsKey = SystemKey("num_vf");

constexpr const char* kInvalidKey = "Invalid key specified\n";
constexpr int kNoMemory = 2;

// Only the Xen agents' record has members, which the texts are cut to.
constexpr Argument kArguments[] = {
    ZWMGMT_ARGUMENT(DriverLoadRequest, "drvname", System, name, kOther,
                    .takes = "the name of a driver"),
    ZWMGMT_ARGUMENT(DriverLoadRequest, "num_vf", System, virtual_functions, kOther,
                    .takes = "how many virtual functions", .systems = {kXen}, .heeded = {kXen}),
};

constexpr Required kRequired[] = {{kNameKey, Required::kGiven, kInvalidKey}};

constexpr RequestForm Form(Command command, size_t count) {
    return {.service = kSystem,
            .command = command,
            .record_size = sizeof(DriverLoadRequest),
            .arguments = std::span(kArguments).first(count),
            .required = kRequired,
            .wrong = kInvalidKey,
            .unknown = kInvalidKey};
}

constexpr RequestForm kLoadForm = Form(kLoadDriver, 2);
constexpr RequestForm kReloadForm = Form(kReloadDriver, 2);
constexpr RequestForm kUnloadForm = Form(kUnloadDriver, 1);

/// The order of the keys counts, and what follows those that count is passed over.
int AskDriver(ZwMgmt_interface& session, const Client_Request_Message* request, _Message* message,
              const RequestForm& form) {
    const auto keys = KeysOf(request);
    if (keys.empty()) {
        Remarks::RefuseForLackOfKeys(session);
        return Refuse(session, kInvalidKey);
    }
    if (keys[0].key != kNameKey) {
        if (keys.size() > 1) Remarks::Refuse(session, keys[0], "drvname comes first");
        return Refuse(session, keys[0], kInvalidKey);
    }
    message->service = form.service;
    message->opcode = form.command;
    const std::string_view name = ValueOf(keys[0]);
    bool attached = false;
    if (form.command == kUnloadDriver || session.OsType() != kXen) {
        attached = AttachData(message, name.data(), name.size());
    } else {
        DriverLoadRequest payload = {};
        SetFixedText(payload.name, name);
        SetFixedText(payload.virtual_functions, "NONE");
        if (keys.size() == 2) {
            if (keys[1].key != kVirtualFunctionsKey) {
                return Refuse(session, keys[1], kInvalidKey);
            }
            SetFixedText(payload.virtual_functions, ValueOf(keys[1]));
        }
        attached = AttachData(message, &payload, sizeof(payload));
    }
    if (attached) return 0;
    Refuse(session, "out of memory\n");
    return kNoMemory;
}

}  // namespace

std::span<const RequestForm* const> zwmgmt::DriverForms() {
    static constexpr const RequestForm* kForms[] = {&kLoadForm, &kReloadForm, &kUnloadForm};
    return kForms;
}

int ZwMgmt_interface::CLLoadDriver(Client_Request_Message* request, _Message* message, char*,
                                   void**) {
    return AskDriver(*this, request, message, kLoadForm);
}

int ZwMgmt_interface::CLReLoadDriver(Client_Request_Message* request, _Message* message, char*,
                                     void**) {
    return AskDriver(*this, request, message, kReloadForm);
}

int ZwMgmt_interface::CLUnLoadDriver(Client_Request_Message* request, _Message* message, char*,
                                     void**) {
    return AskDriver(*this, request, message, kUnloadForm);
}
