#include "linux_agent/audit.h"

#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "commands/command_keys.h"
#include "output/characters.h"
#include "output/message_fields.h"
#include "platform/file.h"
#include "zwmgmt/status.h"

namespace zmagent {
namespace {

constexpr size_t kLongestValue = 256;
constexpr const char* kJournal = "/run/systemd/journal/socket";

/// Without control characters, and cut. In quotes a mark is put before what would end them.
std::string Plain(std::string_view text, bool is_quoted = false) {
    std::string plain;
    while (!text.empty() && plain.size() < kLongestValue) {
        const std::string_view character = zwmgmt::FirstCharacter(text);
        text.remove_prefix(character.size());
        if (zwmgmt::IsControl(character)) {
            plain += '?';
        } else {
            if (is_quoted && (character == "\"" || character == "\\")) plain += '\\';
            plain += character;
        }
    }
    return plain + (text.empty() ? "" : "...");
}

std::string Quoted(std::string_view text) { return "\"" + Plain(text, true) + "\""; }

/// The key that the request's mask says is given at the offset, also where its value is 0; null
/// where it says nothing of the kind.
const char* GivenKey(const zwmgmt::RequestForm* form, std::span<const uint8_t> data,
                     size_t offset) {
    if (form == nullptr || form->mask_offset == zwmgmt::RequestForm::kNoMask) return nullptr;
    uint32_t mask = 0;
    if (data.size() < form->mask_offset + sizeof(mask)) return nullptr;
    std::memcpy(&mask, data.data() + form->mask_offset, sizeof(mask));
    const auto row = std::ranges::find_if(form->settings, [&](const zwmgmt::Argument& each) {
        return (mask & each.bit) != 0 && form->settings_offset + each.offset == offset &&
               each.heeded.Has(zwmgmt::kLinux);
    });
    return row != form->settings.end() ? row->word : nullptr;
}

std::string TimeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

}  // namespace

AuditEntry EntryOf(uint8_t service, uint16_t opcode, std::span<const uint8_t> data) {
    AuditEntry entry;
    const zwmgmt::MessageForm* message = zwmgmt::FindMessageForm(service, opcode, zwmgmt::kLinux);
    if (message == nullptr) {
        entry.command = std::to_string(service) + " " + std::to_string(opcode);
        return entry;
    }
    entry.command = message->name;
    const zwmgmt::RequestForm* form = zwmgmt::FindRequestForm(opcode);
    zwmgmt::ForEachField(message->request, data, [&](const zwmgmt::ShownField& field) {
        const char* key = GivenKey(form, data, field.offset);
        if (key != nullptr || !field.empty) {
            entry.keys.emplace_back(key != nullptr ? key : field.name, field.value);
        }
    });
    return entry;
}

std::string LineOf(const AuditEntry& entry) {
    std::string line = "user=" + Quoted(entry.user) + " address=" + Quoted(entry.address) +
                       " command=" + Quoted(entry.command);
    for (const auto& [key, value] : entry.keys) line += " " + key + "=" + Quoted(value);
    line += " status=" + std::to_string(entry.status);
    if (entry.status != zwmgmt::kSuccess) line += " " + Quoted(zwmgmt::StatusText(entry.status));
    if (!entry.reason.empty()) line += " reason=" + Quoted(entry.reason);
    return line;
}

Audit::~Audit() {
    if (file != nullptr) std::fclose(file);
}

bool Audit::Open(const std::string& to, std::string* error) {
    FILE* opened = nullptr;
    if (to == "journal") {
        if (access(kJournal, F_OK) != 0) {
            *error = "there is no journal here: [audit] to names a file";
            return false;
        }
    } else {
        opened = zwmgmt::platform::AppendPrivately(to.c_str());
        if (opened == nullptr) {
            *error = "cannot write to " + to + ": " + std::strerror(errno);
            return false;
        }
    }
    const std::lock_guard guard(lock);
    if (file != nullptr) std::fclose(file);
    file = opened;
    return true;
}

void Audit::Note(const AuditEntry& entry) {
    if (Write(entry)) return;
    std::fprintf(stderr, "korvane_zmagent: cannot write the audit log: %s\n",
                 LineOf(entry).c_str());
}

bool Audit::Write(const AuditEntry& entry) {
    const std::string line = LineOf(entry);
    const std::lock_guard guard(lock);
    if (file != nullptr) {
        const bool written = std::fprintf(file, "%s %s\n", TimeNow().c_str(), line.c_str()) > 0;
        return std::fflush(file) == 0 && written;
    }
    const int priority = entry.status == zwmgmt::kSuccess ? LOG_INFO : LOG_NOTICE;
    return sd_journal_send("MESSAGE=%s", line.c_str(), "PRIORITY=%i", priority, "KORVANE_USER=%s",
                           Plain(entry.user).c_str(), "KORVANE_ADDRESS=%s", entry.address.c_str(),
                           "KORVANE_COMMAND=%s", entry.command.c_str(), "KORVANE_STATUS=%u",
                           entry.status, nullptr) == 0;
}

}  // namespace zmagent
