#include "linux_agent/keeper.h"

#include <poll.h>

#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include "linux_agent/channel.h"
#include "platform/wipe.h"
#include "records/messages.h"
#include "zwmgmt/fixed_text.h"
#include "zwmgmt/message.h"
#include "zwmgmt/status.h"
#include "zwmgmt/vocabulary.h"

namespace zmagent {
namespace {

namespace agent = zwmgmt::agent;
namespace platform = zwmgmt::platform;
using Data = std::span<const uint8_t>;

class ClientService {
  public:
    ClientService(const Service& its_service, Audit& audit_log, LoginGuard& login_guard,
                  Probes& all_probes, Descriptor its_channel, const platform::Address& its_address)
        : service(its_service),
          audit(audit_log),
          logins(login_guard),
          probes(all_probes),
          channel(std::move(its_channel)),
          address(its_address),
          address_text(platform::FormatAddress(its_address).text) {}

    /// Answers one question; false when there are no more.
    bool AnswerOne() {
        Question question = {};
        if (!ReadWhole(channel.Number(),
                       {reinterpret_cast<uint8_t*>(&question), sizeof(question)}) ||
            question.length > LongestQuestion()) {
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
            case Asked::kRequest: return Serve(question.service, question.opcode, data);
        }
        return false;
    }

  private:
    uint32_t LongestQuestion() const {
        return role != Role::kNobody ? kLongestQuestion : uint32_t{sizeof(LoginRecord)};
    }

    bool LogIn(Data data) {
        LoginRecord record;
        // Who has logged in does so no more: whose requests they are is known once and for all.
        if (data.size() != sizeof(record) || role != Role::kNobody) return false;
        std::memcpy(&record, data.data(), sizeof(record));
        const std::string name(zwmgmt::FixedText(record.user_name));
        std::string password(zwmgmt::FixedText(record.password));
        platform::Wipe(&record, sizeof(record));
        std::string reason;
        const bool goes_on = WaitForTurn();
        if (goes_on) {
            role = RoleOf(service.config, name, password, address_text, &reason);
        } else {
            reason = "too many failed logins from there";
        }
        platform::Wipe(password.data(), password.size());
        AuditEntry entry = {.user = name, .address = address_text, .command = "login"};
        if (role != Role::kNobody) {
            user = name;
            logins.NoteSuccess(address, user);
        } else {
            entry.status = zwmgmt::kLoginRejected;
            entry.reason = reason;
            if (goes_on) logins.NoteFailure(address, name, LoginGuard::Clock::now());
            entry.keys.emplace_back("failures", std::to_string(logins.FailuresOf(address)));
        }
        Note(entry);
        return goes_on && Tell({.status = entry.status, .data = {}});
    }

    /// Whether it is this client's turn to try; it may have gone meanwhile.
    bool WaitForTurn() {
        const auto wait = logins.TurnOf(address, LoginGuard::Clock::now());
        pollfd quiet = {.fd = channel.Number(), .events = POLLIN, .revents = 0};
        return wait <= LoginGuard::kPatience &&
               poll(&quiet, 1, static_cast<int>(wait.count())) == 0;
    }

    bool Serve(uint8_t service_code, uint16_t opcode, Data data) {
        AuditEntry entry = EntryOf(service_code, opcode, data);
        entry.user = user;
        entry.address = address_text;
        const agent::Reply reply = AnswerTo(service_code, opcode, data);
        entry.status = reply.status;
        entry.reason = reply.reason;
        Note(entry);
        return Tell(reply);
    }

    agent::Reply AnswerTo(uint8_t service_code, uint16_t opcode, Data data) {
        const auto* form = zwmgmt::FindMessageForm(service_code, opcode, zwmgmt::kLinux);
        if (role == Role::kNobody) return {.status = zwmgmt::kLoginRejected, .data = {}};
        if (form == nullptr) return {.status = zwmgmt::kNotSupported, .data = {}};
        if (form->changes && role != Role::kOperator) {
            return {.status = zwmgmt::kNoReadWriteToken, .data = {}};
        }
        if (service_code == zwmgmt::kNet) {
            if (auto reply = probes.Answer(user, opcode, data)) return *std::move(reply);
        }
        agent::Reply reply = service.host->Answer(service_code, opcode, data);
        if (reply.data.size() > kLongestAnswer) return {.status = zwmgmt::kReadError, .data = {}};
        return reply;
    }

    bool Tell(const agent::Reply& reply) {
        const Answer answer = {reply.status, static_cast<uint32_t>(reply.data.size())};
        return WriteWhole(channel.Number(),
                          {reinterpret_cast<const uint8_t*>(&answer), sizeof(answer)}) &&
               WriteWhole(channel.Number(), reply.data);
    }

    void Note(const AuditEntry& entry) {
        if (audit.Write(entry)) return;
        std::fprintf(stderr, "korvane_zmagent: cannot write the audit log: %s\n",
                     LineOf(entry).c_str());
    }

    const Service& service;
    Audit& audit;
    LoginGuard& logins;
    Probes& probes;
    const Descriptor channel;
    const platform::Address address;
    const std::string address_text;
    Role role = Role::kNobody;
    std::string user;
};

}  // namespace

Keeper::~Keeper() {
    for (Session& session : sessions) session.thread.join();
}

void Keeper::Begin(std::shared_ptr<const Service> service, Descriptor channel, Descriptor client) {
    // Twice as many as one network half may have: while one follows another there are two.
    if (sessions.size() >= size_t{2} * service->config.clients) return;
    const auto address = platform::PeerOf(client.Number());
    if (!address || !channel) return;
    client.Close();
    Session& session = sessions.emplace_back();
    // The channel goes into the thread by a pointer, as what a function holds is copied.
    auto held = std::make_shared<Descriptor>(std::move(channel));
    try {
        session.thread = std::thread([this, &session, service, held, address] {
            try {
                ClientService served(*service, audit, logins, probes, std::move(*held), *address);
                while (served.AnswerOne()) {
                }
            } catch (const std::exception& failure) {  // no memory: it is this client's end alone
                std::fprintf(stderr, "korvane_zmagent: a session ended: %s\n", failure.what());
            }
            session.done = true;
        });
    } catch (const std::system_error&) {  // no thread to be had: the client is turned away
        sessions.pop_back();
    }
}

void Keeper::Reap() {
    for (auto session = sessions.begin(); session != sessions.end();) {
        if (!session->done) {
            ++session;
            continue;
        }
        session->thread.join();
        session = sessions.erase(session);
    }
}

}  // namespace zmagent
