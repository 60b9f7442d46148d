/// What a dry run shows is what an agent gets.
#include <filesystem>
#include <fstream>
#include <map>

#include "commands/routes.h"
#include "records/messages.h"
#include "session/agent_names.h"
#include "tests/support.h"
#include "zwmgmt/argument_notes.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

Bytes AsSent(const _Message& message) {
    const auto* data = static_cast<const uint8_t*>(message.data);
    return Message(message, Bytes(data, data + (data != nullptr ? message.data_length : 0)));
}

/// Keeps what came, and takes files.
class Keeper : public FileHost {
  public:
    explicit Keeper(uint8_t agent_os)
        : FileHost([](auto...) { return agent::Reply{}; }, agent_os) {}

    agent::Options Tapping() {
        agent::Options options;
        options.tap = [this](std::span<const uint8_t> header, std::span<const uint8_t> data) {
            Bytes message(header.begin(), header.end());
            message.insert(message.end(), data.begin(), data.end());
            messages.push_back(std::move(message));
        };
        return options;
    }

    std::vector<Bytes> messages;
};

}  // namespace

// Of every command, for the agents of every system.
TEST(DryRun, ShowsTheBytesThatAgentsGet) {
    const std::string package = "KorvaneZwire-4.3.0.tar.gz";
    std::ofstream(package) << "a package";
    int compared = 0;
    for (const AgentName& system : kAgentNames) {
        Keeper host(system.os);
        Linked session(host, host.Tapping());
        for (const Route& route : Routes()) {
            SCOPED_TRACE(std::string(system.name) + ": " + route.example);
            const std::vector<std::string> words = Words(route.example);
            CommandWords command(Pointers(words).data(), words.size());
            ASSERT_NE(command.Request(), nullptr) << command.Error();
            const ArgumentNotes notes(session, command.Request());
            host.messages.clear();
            session.Run(Pointers(words));
            const bool sent = !host.messages.empty();
            EXPECT_EQ(notes.MessageCount(), sent ? 1u : 0u);
            if (!sent || notes.MessageCount() == 0) continue;
            ++compared;
            const _Message message = notes.MessageAt(0);
            EXPECT_EQ(AsSent(message), host.messages[0]);
            const MessageForm* form = FindMessageForm(message.service, message.opcode, system.os);
            ASSERT_NE(form, nullptr);
            EXPECT_EQ(std::string(route.example).find(form->name), 0u) << form->name;
            const RecordForm* record = form->request.record;
            EXPECT_TRUE(record == nullptr || message.data_length == record->size);
            EXPECT_EQ(message.data == nullptr, form->request.form == Payload::kNothing);
        }
    }
    EXPECT_GT(compared, 150);
    std::filesystem::remove(package);
}

// Traces and the dissector go by the rows of messages, the formats by descriptions.
TEST(Messages, RepliesAreWhatTheirDescriptionsSay) {
    const std::map<Description::Shape, Payload::Form> forms = {
        {Description::kList, Payload::kList},
        {Description::kRun, Payload::kRun},
        {Description::kOne, Payload::kRecord},
    };
    for (const Route& route : Routes()) {
        SCOPED_TRACE(route.example);
        const MessageForm* form = FindMessageForm(route.service, route.AnswerOpcode(), kLinux);
        EXPECT_EQ(form == nullptr, route.reply == ReplyShape::kNone);
        if (form == nullptr || route.records == nullptr) continue;
        EXPECT_NE(form->reply.form, Payload::kNothing);
        const auto expected = forms.find(route.records->shape);
        if (expected == forms.end()) continue;  // texts, or rows of their own
        EXPECT_EQ(form->reply.form, expected->second);
        ASSERT_NE(form->reply.record, nullptr);
        EXPECT_EQ(form->reply.record->size, route.records->size);
    }
}

TEST(DryRun, TellsWhatHappensWithoutAnAgentAndSendsNoRequestToOne) {
    Keeper host(kLinux);
    TestAgent agent(host, host.Tapping());
    const Table<std::string, int, std::string> rows = {
        {"--agent-os linux net mtu set ifname=eth2 mtu=9000", 0,
         "     64      4  mtu             9000   bytes\n"},
        {"net mtu set ifname=eth2 mtu=9000", 0, "Would change something: sets the"},
        {"--agent-os linux net ping ip=10.0.0.0 ipversion=ipv4", 0, "  10.0.0.0\n"},
        {"--agent-os linux filter add pci=0 fip=2001:db8::/32 x4action=drop", 0, "  2001:db8::\n"},
        {"net ping host=beta", 0, "Would change nothing: makes the host ping another"},
        {"--agent-os xen net traceroute host=beta", 5, ""},
        {"--agent-os windows net mtu set mtu=9000", 2, "please specify IfName\n"},
        {"filter showcomb", 2, ""},
        {"--format csv tm list", 2, ""},
    };
    for (const auto& [words, exit_status, text] : rows) {
        SCOPED_TRACE(words);
        const ProcessResult run = Zwcli(agent.Port(), Words("--dry-run " + words));
        EXPECT_EQ(run.exit_status, exit_status) << run.err;
        EXPECT_NE(run.out.find(text), std::string::npos) << run.out;
    }
    agent.Stop();
    for (const Bytes& message : host.messages) {
        const uint8_t service = message[offsetof(_Message, service)];
        const uint8_t opcode = message[offsetof(_Message, opcode)];
        EXPECT_TRUE(service == kSession || (service == kSystem && opcode == kGetCapabilities));
    }
}
