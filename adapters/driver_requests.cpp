/// Requests that load, reload and unload drivers.
#include "cli/handler.h"
#include "cli/keys.h"
#include "cli/remarks.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kNameKey = SystemKey("drvname");
constexpr int kVirtualFunctionsKey = SystemKey("num_vf");

constexpr const char* kInvalidKey = "Invalid key specified\n";
constexpr int kNoMemory = 2;

int AskDriver(ZwMgmt_interface& session, const Client_Request_Message* request, Command command,
              _Message* message) {
    const auto keys = KeysOf(request);
    if (keys.empty()) {
        Remarks::RefuseForLackOfKeys(session);
        return Refuse(session, kInvalidKey);
    }
    if (keys[0].key != kNameKey) {
        if (keys.size() > 1) Remarks::Refuse(session, keys[0], "drvname comes first");
        return Refuse(session, keys[0], kInvalidKey);
    }
    message->service = kSystem;
    message->opcode = command;
    const std::string_view name = ValueOf(keys[0]);
    bool attached = false;
    if (command == kUnloadDriver || session.OsType() != kXen) {
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

int ZwMgmt_interface::CLLoadDriver(Client_Request_Message* request, _Message* message, char*,
                                   void**) {
    return AskDriver(*this, request, kLoadDriver, message);
}

int ZwMgmt_interface::CLReLoadDriver(Client_Request_Message* request, _Message* message, char*,
                                     void**) {
    return AskDriver(*this, request, kReloadDriver, message);
}

int ZwMgmt_interface::CLUnLoadDriver(Client_Request_Message* request, _Message* message, char*,
                                     void**) {
    return AskDriver(*this, request, kUnloadDriver, message);
}
