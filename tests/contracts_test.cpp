/// Commands by contract: what words become on the wire, what comes back of a reply, and what is
/// said. A line of tests/contracts is a case of six cells, cut at " | ":
///
///   agents   "linux xen": agents that answer as the case says. "sim linux": a new simulated host;
///            "+": the one before
///   words    a command; keys may be numbers. {a=bytes b=bytes} stands for several cases: % in what
///            is sent is the one's bytes, % in what is printed its text
///   reply    status, then the data's length and pieces; of simulated hosts the status expected
///   request  opcode, length and pieces of what is sent, "-": nothing is; empty: whatever it is
///   printed  all of it; where "request" stands alone, without the line about the reply
///   result   of the call; 1 where nothing is sent, otherwise 0
///
/// Pieces are "offset:text" or "offset=hex", os stands for the agent's byte; all else is zero.
#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/support.h"
#include "zwmgmt/result.h"

using namespace testing_support;
using namespace zwmgmt;
using Zw = ZwMgmt_interface;

namespace {

struct Case {
    std::string agents;
    std::vector<std::string> words;
    std::string reply, request, printed, result;
};

uint8_t OsNamed(const std::string& name) {
    const std::string names[] = {"",    "windows", "linux", "solaris", "freebsd",
                                 "esx", "mac",     "",      "xen"};
    const auto* found = std::ranges::find(names, name);
    return static_cast<uint8_t>(found == std::end(names) ? Number(name) : found - names);
}

std::vector<Case> CasesOf(const std::vector<std::string>& row) {
    const size_t open = row[1].find('{'), close = row[1].find('}');
    if (open == row[1].npos) return {{row[0], Words(row[1]), row[2], row[3], row[4], row[5]}};
    std::vector<Case> cases;
    for (const std::string& value : Words(row[1].substr(open + 1, close - open - 1))) {
        const size_t sign = row[3].find('%') == row[3].npos ? value.npos : value.rfind('=');
        const std::string text = value.substr(0, sign), bytes = value.substr(sign + 1);
        const std::string words = row[1].substr(0, open) + text + row[1].substr(close + 1);
        cases.push_back({row[0], Words(words), row[2], Replaced(row[3], "%", bytes),
                         Replaced(row[4], "%", text), row[5]});
    }
    return cases;
}

/// The bytes of "length piece ...".
std::string Block(const std::vector<std::string>& words, uint8_t os_type) {
    std::string block(words.size() > 1 ? std::stoul(words[1]) : 0, '\0');
    for (size_t i = 2; i < words.size(); ++i) {
        const size_t sign = words[i].find_first_of(":=");
        const std::string value = words[i].substr(sign + 1);
        const std::string bytes = words[i][sign] == ':' ? value
                                  : value == "os"       ? std::string(1, static_cast<char>(os_type))
                                                        : Unhex(value);
        EXPECT_LE(std::stoul(words[i]) + bytes.size(), block.size()) << words[i];
        block.replace(std::stoul(words[i]), bytes.size(), bytes);
    }
    return block;
}

/// The other way round.
std::string Shown(const std::string& block) {
    std::string text = "\n" + std::to_string(block.size());
    for (size_t i = 0; i < block.size(); ++i) {
        if (block[i] == '\0') continue;
        if (i == 0 || block[i - 1] == '\0') text += ' ' + std::to_string(i) + '=';
        char hex[3];
        std::snprintf(hex, sizeof(hex), "%02x", static_cast<unsigned char>(block[i]));
        text += hex;
    }
    return text + '\n';
}

/// The request of a command line, also of one that the vocabulary refuses.
class Request {
  public:
    explicit Request(const std::vector<std::string>& words)
        : pointers(Pointers(words)), command(pointers.data(), pointers.size()) {
        message.service = static_cast<uint8_t>(Zw::CLGetService(pointers[0]));
        message.command = static_cast<uint16_t>(Zw::CLGetCommand(pointers[1], message.service));
        if (words[0] != "net") arguments.push_back({"", -1});
        for (size_t i = 2; i < words.size(); ++i) {
            const size_t sign = words[i].find('=');
            const std::string key = words[i].substr(0, sign);
            const bool number = std::isdigit(key[0]);
            const char* value = sign != key.npos ? pointers[i] + sign + 1 : pointers[i];
            if (number && sign == key.npos) value = nullptr;
            arguments.push_back(
                {value, number ? Number(key) : Zw::CLGetKeyNo(key.c_str(), message.service)});
        }
        message.arguments = arguments.data();
        message.argument_count = static_cast<uint32_t>(arguments.size());
    }
    Client_Request_Message* Get() { return command.Request() ? command.Request() : &message; }

  private:
    std::vector<const char*> pointers;
    CommandWords command;
    std::vector<Client_Request_Argument> arguments;
    Client_Request_Message message = {};
};

/// A session with an agent that answers as it is told, and keeps what it was asked.
struct Exchange {
    explicit Exchange(uint8_t os_type)
        : host(
              [this](uint8_t, uint16_t asked, auto data) {
                  opcode = asked;
                  sent.assign(data.begin(), data.end());
                  return reply;
              },
              os_type),
          session(host) {}

    agent::Reply reply;
    int opcode = 0;
    std::string sent;
    CannedHost host;
    Linked session;
};

void Keep(const Case& one, uint8_t os_type, const std::string& what) {
    static std::map<int, std::unique_ptr<Exchange>> exchanges;
    auto& exchange = exchanges[os_type];
    if (!exchange) exchange = std::make_unique<Exchange>(os_type);
    TestSession& session = exchange->session;
    const auto reply = Words(one.reply.empty() ? "2" : one.reply);
    const auto request = Words(one.request);
    const std::string data = Block(reply, os_type);
    const bool refused = one.request == "-";
    exchange->reply = {.status = static_cast<uint32_t>(Number(reply.at(0))),
                       .data = {data.begin(), data.end()}};
    exchange->opcode = 0;
    Request given(one.words);
    const int result = session.Client_ProcessRequest(&session.message, given.Get(),
                                                     session.result.data(), nullptr);
    std::string printed = session.Printed();
    EXPECT_EQ(result, one.result.empty() ? int{refused} : Number(one.result)) << what;
    if (one.reply.empty() && !refused && !printed.empty()) {
        printed.resize(printed.rfind('\n', printed.size() - 2) + 1);
    }
    EXPECT_EQ(printed, one.printed) << what;
    EXPECT_TRUE(!refused || exchange->opcode == 0) << what;
    if (!request.empty() && !refused) {
        EXPECT_EQ(exchange->opcode, Number(request[0])) << what;
        EXPECT_TRUE(exchange->sent == Block(request, os_type)) << what << Shown(exchange->sent);
    }
    EXPECT_TRUE(exchange->opcode == 0 || session.message.status == exchange->reply.status) << what;
    if (data.empty() || exchange->reply.status != kSuccess) return;
    Result as_value(session, given.Get(), session.result.data());
    std::string json;
    EXPECT_TRUE(as_value.Render(ResultFormat::kJsonLine, &json) && nlohmann::json::accept(json))
        << what << json;
}

void KeepAll(const std::string& family) {
    std::unique_ptr<zmsim::ScenarioHost> host;
    for (const auto& row : Cases("../contracts/" + family)) {
        for (const Case& one : CasesOf(row)) {
            const std::string what = row[0] + " | " + testing::PrintToString(one.words);
            const auto agents = Words(one.agents);
            if (agents[0] == "sim") {
                host = std::make_unique<zmsim::ScenarioHost>(BuiltinScenario(agents[1]));
            }
            if (agents[0] == "sim" || agents[0] == "+") {
                const Told told = Tell(*host, Pointers(one.words));
                EXPECT_EQ(told.status, static_cast<uint32_t>(Number(one.reply))) << what;
                EXPECT_EQ(told.printed, one.printed) << what;
                continue;
            }
            for (const std::string& agent : agents) Keep(one, OsNamed(agent), what);
        }
    }
}

}  // namespace

TEST(Contracts, OfDrivers) { KeepAll("drivers"); }
TEST(Contracts, OfFilters) { KeepAll("filters"); }
TEST(Contracts, OfInventory) { KeepAll("inventory"); }
TEST(Contracts, OfPolicies) { KeepAll("policies"); }
TEST(Contracts, OfProbes) { KeepAll("probes"); }
TEST(Contracts, OfProperties) { KeepAll("properties"); }
TEST(Contracts, OfConversations) { KeepAll("conversations"); }

TEST(Contracts, TakeNothingBeyondTheirLimits) {
    for (const auto& row : Cases("limits")) {
        const auto try_with = [&](const std::string& value, bool taken, const std::string& text) {
            auto words = Words(row[1]);
            std::string& word = words[static_cast<size_t>(
                std::ranges::find_if(words, [](const auto& w) { return w.ends_with('%'); }) -
                words.begin())];
            word.replace(word.size() - 1, 1, value);
            const Told told = Tell(Number(row[0]), 1, Pointers(words));
            EXPECT_EQ(told.opcode != 0, taken) << word << told.printed;
            EXPECT_EQ(taken ? text : told.printed, text) << word;
        };
        const auto limits = Words(row[2]);
        if (limits[0] == "length") {
            const std::string longest(std::stoul(limits[1]), 'x');
            try_with(longest, true, "");
            try_with(longest + 'x', false, row[3]);
            continue;
        }
        const int64_t least = std::stoll(limits[0]), most = std::stoll(limits[1]);
        try_with(std::to_string(least), true, "");
        try_with(std::to_string(most), true, "");
        try_with(std::to_string(least - 1), false, row[3]);
        try_with(std::to_string(most + 1), false, row[4].empty() ? row[3] : row[4]);
    }
}
