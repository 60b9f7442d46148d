#include "linux_agent/client_service.h"

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "agent/replies.h"
#include "platform/wipe.h"
#include "records/messages.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/message.h"
#include "zwmgmt/records/file_transfer.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmagent {
namespace {

namespace agent = zwmgmt::agent;
namespace platform = zwmgmt::platform;

constexpr std::chrono::milliseconds kLongestTelling{2'000};

/// How much of what was sent the client's side has received.
uint64_t Received(int client) {
    tcp_info info = {};
    socklen_t size = sizeof(info);
    const bool is_known = getsockopt(client, IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
    return is_known ? info.tcpi_bytes_acked : UINT64_MAX;
}

/// Until the client's side has received more than that, and all there is.
void WaitUntilReceived(int client, uint64_t before) {
    const auto last = std::chrono::steady_clock::now() + kLongestTelling;
    int left = 0;  // bytes
    while (std::chrono::steady_clock::now() < last &&
           (Received(client) <= before || (ioctl(client, SIOCOUTQ, &left) == 0 && left != 0))) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace

ClientService::ClientService(std::shared_ptr<const Service> its_service, const Shared& with_others,
                             Descriptor its_channel, Descriptor its_client, const Ends& its_ends)
    : service(std::move(its_service)),
      shared(with_others),
      delivery(with_others.installer, service->config),
      channel(std::move(its_channel)),
      client(std::move(its_client)),
      ends(its_ends),
      address_text(platform::FormatAddress(its_ends.client).text) {}

void ClientService::HangUp() const { shutdown(channel.Number(), SHUT_RDWR); }

bool ClientService::AnswerOne() {
    Question question = {};
    if (!ReadWhole(channel.Number(), {reinterpret_cast<uint8_t*>(&question), sizeof(question)}) ||
        question.length > LongestQuestion(question.asked)) {
        return false;
    }
    std::vector<uint8_t> data(question.length);
    if (!ReadWhole(channel.Number(), data)) return false;
    switch (question.asked) {
        case Asked::kLogin: {
            const bool goes_on = LogIn(data);
            platform::Wipe(data.data(), data.size());
            return goes_on;
        }
        case Asked::kCertificates: return LogInByCertificate(data);
        case Asked::kRequest: return Serve(question.service, question.opcode, data);
        case Asked::kFile:
        case Asked::kPiece:
        case Asked::kWhole:
        case Asked::kBrokenOff:
            return Tell(delivery.Answer(question.asked, data, user, address_text,
                                        RefusalOf(zwmgmt::kSystem, zwmgmt::kInstall)));
    }
    return false;
}

uint32_t ClientService::LongestQuestion(Asked asked) const {
    if (role != Role::kNobody) {
        return asked == Asked::kPiece ? zwmgmt::kChunkSize : kLongestQuestion;
    }
    return asked == Asked::kCertificates ? kLongestChain : uint32_t{sizeof(LoginRecord)};
}

bool ClientService::LogIn(Data data) {
    LoginRecord record;
    // Who has logged in does so no more: whose requests they are is known once and for all.
    if (data.size() != sizeof(record) || role != Role::kNobody) return false;
    std::memcpy(&record, data.data(), sizeof(record));
    const std::string name(zwmgmt::FixedText(record.user_name));
    std::string password(zwmgmt::FixedText(record.password));
    platform::Wipe(&record, sizeof(record));
    std::string reason;
    const bool goes_on = WaitForTurn(&reason);
    if (goes_on) role = RoleOf(service->config, name, &password, address_text, is_there, &reason);
    platform::Wipe(password.data(), password.size());
    AuditEntry entry = {.user = name, .address = address_text, .command = "login"};
    entry.reason = reason;
    if (role != Role::kNobody) {
        shared.logins.NoteSuccess(ends.client, name);
    } else {
        if (goes_on) shared.logins.NoteFailure(ends.client, name, LoginGuard::Clock::now());
        entry.keys.emplace_back("failures", std::to_string(shared.logins.FailuresOf(ends.client)));
    }
    const uint32_t status = Conclude(std::move(entry));
    return goes_on && Tell({.status = status, .data = {}});
}

bool ClientService::LogInByCertificate(Data chain) {
    if (role != Role::kNobody || !service->authorities || has_shown_certificates) return false;
    has_shown_certificates = true;
    AuditEntry entry = {.user = {}, .address = address_text, .command = "login"};
    entry.user = UserOf(service->authorities.get(), chain, &entry.reason);
    entry.keys.emplace_back("by", "certificate");
    if (!entry.user.empty()) {
        role = RoleOf(service->config, entry.user, nullptr, address_text, is_there, &entry.reason);
    }
    return Tell({.status = Conclude(std::move(entry)), .data = {}});
}

uint32_t ClientService::Conclude(AuditEntry entry) {
    if (role != Role::kNobody) {
        user = entry.user;
    } else {
        entry.status = zwmgmt::kLoginRejected;
    }
    shared.audit.Note(entry);
    return entry.status;
}

/// Whether the network half still waits, and asks nothing else meanwhile.
bool ClientService::IsQuiet(int milliseconds) const {
    pollfd quiet = {.fd = channel.Number(), .events = POLLIN, .revents = 0};
    return poll(&quiet, 1, milliseconds) == 0;
}

bool ClientService::WaitForTurn(std::string* reason) {
    const auto wait = shared.logins.TurnOf(ends.client, LoginGuard::Clock::now());
    if (wait > LoginGuard::kPatience) {
        *reason = "too many failed logins from there";
    } else if (!IsQuiet(static_cast<int>(wait.count()))) {
        *reason = "gone before its turn";
    }
    return reason->empty();
}

bool ClientService::Serve(uint8_t service_code, uint16_t opcode, Data data) {
    AuditEntry entry = EntryOf(service_code, opcode, data);
    entry.user = user;
    entry.address = address_text;
    // Who has logged in may have gone meanwhile; who asks has not.
    const size_t confirmed = shared.confirmations.Confirm(user, ends, began);
    if (confirmed != 0) entry.keys.emplace_back("confirms", std::to_string(confirmed));
    Client asking = {.ends = ends};
    agent::Reply reply = AnswerTo(asking, service_code, opcode, data);
    bool is_told = false;
    if (asking.change) {
        AuditEntry line = entry;
        line.keys.emplace_back("change", "follows the answer");
        shared.audit.Note(line);
        is_told = TellAndWait(reply);
        reply = asking.change();
    }
    // Half a change of a driver is one, too.
    const bool has_changed = reply.status == zwmgmt::kSuccess || asking.change;
    if (has_changed && asking.put_back && !Expect(entry, asking.put_back)) {
        reply = agent::Failed(zwmgmt::kStillRunning,
                              "too many changes wait to be confirmed" + asking.put_back());
    }
    entry.status = reply.status;
    entry.reason = reply.reason;
    shared.audit.Note(entry);
    return asking.change ? is_told : Tell(reply);
}

bool ClientService::Expect(AuditEntry entry, const std::function<std::string()>& put_back) const {
    const std::chrono::seconds limit(service->config.confirm_seconds);
    if (limit.count() == 0) return true;
    entry.keys.emplace_back("change", "put back: nobody has confirmed it");
    return shared.confirmations.Expect(
        user, ends, limit, [entry, put_back, host = service, &audit = shared.audit]() mutable {
            entry.reason = put_back();
            if (!entry.reason.empty()) entry.status = zwmgmt::kInvalidValue;
            audit.Note(entry);
        });
}

uint32_t ClientService::RefusalOf(uint8_t service_code, uint16_t opcode) const {
    const auto* form = zwmgmt::FindMessageForm(service_code, opcode, zwmgmt::kLinux);
    if (role == Role::kNobody) return zwmgmt::kLoginRejected;
    if (form == nullptr) return zwmgmt::kNotSupported;
    if (form->changes && role != Role::kOperator) return zwmgmt::kNoReadWriteToken;
    return zwmgmt::kSuccess;
}

agent::Reply ClientService::AnswerTo(Client& asking, uint8_t service_code, uint16_t opcode,
                                     Data data) {
    const uint32_t refusal = RefusalOf(service_code, opcode);
    if (refusal != zwmgmt::kSuccess) return {.status = refusal, .data = {}};
    if (service_code == zwmgmt::kSystem && opcode == zwmgmt::kGetInstallResult) {
        return shared.installer.OutcomeOf(user);
    }
    if (service_code == zwmgmt::kNet) {
        if (auto reply = shared.probes.Answer(user, opcode, data)) return *std::move(reply);
    }
    agent::Reply reply = service->host->AnswerTo(asking, service_code, opcode, data);
    if (reply.data.size() > kLongestAnswer) return {.status = zwmgmt::kReadError, .data = {}};
    return reply;
}

bool ClientService::Tell(const agent::Reply& reply) {
    const Answer answer = {reply.status, static_cast<uint32_t>(reply.data.size())};
    return WriteWhole(channel.Number(), {reinterpret_cast<const uint8_t*>(&answer), sizeof(answer)},
                      reply.data);
}

bool ClientService::TellAndWait(const agent::Reply& reply) {
    const uint64_t before = Received(client.Number());
    if (!Tell(reply)) return false;
    WaitUntilReceived(client.Number(), before);
    return true;
}

}  // namespace zmagent
