#include "commands/push.h"

#include "commands/remarks.h"
#include "commands/reports.h"
#include "session/state.h"
#include "zwmgmt/zwmgmt_interface.h"

using namespace zwmgmt;

namespace {

/// Why an agent refuses an announced file.
struct RefusalRow {
    uint32_t status;
    const char* text;
};

constexpr RefusalRow kRefusals[] = {
    {kPrerequisites, "Pre-Requisites for installating driver failed\n"},
    {kOtherArchitecture, "ZM Update failed as  architecture is different\n"},
    {kNotNewer, "ZM Update failed as higher/equal  version is already installed\n"},
};

bool SayWhetherSendable(ZwMgmt_interface& session, const OutgoingFile& file) {
    if (file.CanBeSent()) return true;
    if (file.Opened() == platform::OpenResult::kNotThere) {
        session.PrintOutput("cannot stat the file %s\n", file.Path());
    } else if (file.Opened() != platform::OpenResult::kOpened) {
        session.PrintOutput("cannot send %s: %s\n", file.Path(), platform::WhyNot(file.Opened()));
    } else {
        session.PrintOutput(
            "cannot send %s: its size of %lld bytes is above the limit of %lld bytes\n",
            file.Path(), static_cast<long long>(file.Size()), static_cast<long long>(kLargestFile));
    }
    return false;
}

/// Shows a push in the session's output.
class PushTalk : public PushWatcher {
  public:
    explicit PushTalk(ZwMgmt_interface& talking_session) : session(talking_session) {}

    void Announces(const OutgoingFile& file) override {
        session.PrintOutput("Sending File %s of size %lld to the ZM agent...\n",
                            platform::BaseName(file.Path()), static_cast<long long>(file.Size()));
    }
    void Refused(uint32_t status) override {
        if (const char* text = FileRefusalText(status)) session.PrintOutput("%s", text);
    }
    void Progressed(uint32_t percent) override {
        session.PrintOutput("Completion Progress %% (%02d%%) .... \r", static_cast<int>(percent));
        std::fflush(SessionState::Of(session).voice.Stream());
    }
    void Changed(const OutgoingFile& file) override {
        session.PrintOutput("\ncannot send %s: it changed or became unreadable\n", file.Path());
    }
    void Ends() override { session.PrintOutput("\n"); }
    void Says(const char* text) override { session.PrintOutput("%s", text); }

  private:
    ZwMgmt_interface& session;
};

}  // namespace

bool zwmgmt::CanBeSent(ZwMgmt_interface& session, const char* path) {
    return SayWhetherSendable(session, OutgoingFile(path));
}

void zwmgmt::NoteAnnouncement(ZwMgmt_interface& session, const FileTransfer& transfer) {
    Remarks::Message message = {TransferHeader(), std::vector<uint8_t>(sizeof(FileTransferRecord))};
    FillAnnouncement(reinterpret_cast<FileTransferRecord*>(message.data.data()), transfer,
                     OutgoingFile(transfer.path));
    Remarks::Of(session)->messages.push_back(std::move(message));
}

const char* zwmgmt::FileRefusalText(uint32_t status) {
    for (const RefusalRow& row : kRefusals) {
        if (row.status == status) return row.text;
    }
    return nullptr;
}

PushOutcome zwmgmt::PushFile(ZwMgmt_interface& session, const FileTransfer& transfer,
                             char* result_buffer, bool* announced) {
    *announced = false;
    if (transfer.path == nullptr || result_buffer == nullptr) return PushOutcome::kStopped;
    if (!session.Connected()) {
        SetLastStatus(session, kNotConnected);
        ReportStatus(session, kNotConnected);
        return PushOutcome::kStopped;
    }
    SetLastStatus(session, kSuccess);
    OutgoingFile file(transfer.path);
    if (!SayWhetherSendable(session, file)) return PushOutcome::kStopped;
    PushTalk talk(session);
    const Pushed pushed =
        PushOver(SessionState::Of(session).exchange, transfer, file, result_buffer, talk);
    SetLastStatus(session, pushed.status);
    *announced = pushed.announced;
    return pushed.outcome;
}

int ZwMgmt_interface::SendFile(const FileTransfer& transfer, char* result_buffer) {
    bool announced = false;
    return static_cast<int>(PushFile(*this, transfer, result_buffer, &announced));
}
