/// Installing: the packages of a checked request are pushed one after the other; the agent installs
/// them on its own time and tells the outcome when asked.
#include <algorithm>
#include <charconv>

#include "adapters/install_options.h"
#include "cli/fields.h"
#include "cli/handler.h"
#include "cli/keys.h"
#include "session/file_transfer.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr int kPackageKeys[] = {
    SystemKey("kxgb3path"), SystemKey("kxgb4path"),         SystemKey("iscsipath"),
    SystemKey("ofedpath"),  SystemKey("installshieldpath"), SystemKey("zwirepath"),
    SystemKey("zmpath"),
};

bool IsPackage(const Client_Request_Argument& key) {
    return std::ranges::find(kPackageKeys, +key.key) != std::end(kPackageKeys);
}

/// The last value given for a key; null without one.
const char* LastValue(const Client_Request_Message* request, int key) {
    const char* value = nullptr;
    for (const Client_Request_Argument& argument : KeysOf(request)) {
        if (argument.key == key) value = argument.value;
    }
    return value;
}

constexpr const char* kFailed = "Command Failed\n";

}  // namespace

int ZwMgmt_interface::CLInstallKorvaneDrivers(Client_Request_Message* request, _Message* message,
                                              char* result_buffer, void** /*out*/) {
    InstallOptions options;
    const Validity validity = Validate(*this, request, &options);
    if (validity == Validity::kRefusedQuietly) return Refuse(*this, kFailed);
    if (validity == Validity::kRefused) return kRequestRefused;

    char conf_type = 0;
    FileTransfer transfer = {.path = nullptr, .flags = options.type_mask};
    if (options.type_mask & kTextExtraFlags) {
        transfer.extra = LastValue(request, SystemKey("ofedpkg"));
    } else if (const char* value = LastValue(request, SystemKey("conftype"))) {
        conf_type = static_cast<char>(value[0] - '0');
        transfer.extra = &conf_type;
    }
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (!IsPackage(key)) continue;
        transfer.path = key.value;
        const int outcome = SendFile(transfer, result_buffer);
        if (outcome == 0 && status == kSuccess) continue;
        if (!connected) return static_cast<int>(status);
        if (status == kOutOfMemory) return Refuse(*this, "out of memory\n");
        if (status == kSuccess) return kRequestRefused;  // no such file, and the like: said
        *message = last_reply_header;
        if (FileRefusalText(status) == nullptr) PrintOutput("%s", kFailed);
        return 0;
    }
    PrintOutput("Command completed successfully.\n");
    return 0;
}

int ZwMgmt_interface::CLGetInstallDrvRes(Client_Request_Message* /*request*/, _Message* message) {
    return Fill(*this, message, kSystem, kGetInstallResult);
}

void ZwMgmt_interface::GetInstallDrvResResponse(const void* data, _Message* message) {
    if (message->status != kSuccess) {
        PrintOutput("%s", kFailed);
        return;
    }
    PrintLines(*this, FixedText(data, data != nullptr ? message->data_length : 0));
}
