/// Installing: the packages of a checked request are pushed one after the other; the agent installs
/// them on its own time and tells the outcome when asked.
#include "adapters/install_options.h"
#include "adapters/results.h"
#include "commands/handler.h"
#include "commands/push.h"
#include "commands/remarks.h"
#include "output/layout.h"
#include "output/lines.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

constexpr const char* kFailed = "Command Failed\n";

constexpr Field kOutcomeCells[] = {CellField("package", 0), CellField("outcome", 1)};

/// Lines "PACKAGE: OUTCOME".
void DecodeOutcomes(const void* data, uint32_t length, Cells* rows) {
    ForEachLine(data, length, [&](std::string_view line) {
        const auto [package, outcome] = Halves(line);
        if (outcome.empty()) {
            rows->push_back({"", std::string(line)});
        } else {
            rows->push_back({std::string(package), std::string(outcome)});
        }
    });
}

}  // namespace

const Description zwmgmt::kInstallOutcomes = {.name = "installation",
                                              .shape = Description::kDecoded,
                                              .fields = kOutcomeCells,
                                              .decode = DecodeOutcomes};

int ZwMgmt_interface::CLInstallKorvaneDrivers(Client_Request_Message* request, _Message* message,
                                              char* result_buffer, void** /*out*/) {
    InstallOptions options;
    const Validity validity = Validate(*this, request, &options);
    if (validity == Validity::kRefusedQuietly) return Refuse(*this, kFailed);
    if (validity == Validity::kRefused) return kRequestRefused;
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (!IsPackage(key.key) || key.value == nullptr || CanBeSent(*this, key.value)) continue;
        Remarks::Refuse(*this, key, "this file cannot be sent");
        return kRequestRefused;
    }
    const bool dry = Remarks::Of(*this) != nullptr;  // asked about, not to be sent
    FileTransfer transfer = {.path = nullptr, .flags = options.type_mask};
    const char conf_type = static_cast<char>(options.conf_type);
    if (options.type_mask & kTextExtraFlags) {
        transfer.extra = options.ofed_package;
    } else if (options.conf_type != -1) {
        transfer.extra = &conf_type;
    }
    for (const Client_Request_Argument& key : KeysOf(request)) {
        if (!IsPackage(key.key)) continue;
        transfer.path = key.value;
        if (dry) {
            NoteAnnouncement(*this, transfer);
            continue;
        }
        bool announced = false;
        const PushOutcome outcome = PushFile(*this, transfer, result_buffer, &announced);
        if (!Connected()) return static_cast<int>(LastStatus());
        if (outcome == PushOutcome::kNoMemory) return Refuse(*this, "out of memory\n");
        const bool done = outcome == PushOutcome::kDone;
        if (!done && LastStatus() == kSuccess) return kRequestRefused;  // not sent, and said why
        *message = LastReplyHeader();
        if (done) continue;
        if (announced) PrintOutput("\n");  // the progress line has none
        if (FileRefusalText(LastStatus()) == nullptr) PrintOutput("%s", kFailed);
        return 0;
    }
    if (!dry) PrintOutput("Command completed successfully.\n");
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
