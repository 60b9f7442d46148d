/// Commands by contract: what words become on the wire, what comes back of a reply, and what is
/// said. A line of tests/contracts is a case of seven cells, cut at " | ":
///
///   agents   "linux xen": agents that answer as the case says. "sim linux": a new simulated host;
///            "+": the one before
///   words    a command; keys may be numbers. {a=bytes b=bytes} stands for several cases: % in what
///            is sent is the one's bytes, % in what is printed its text
///   reply    status, then the data's length and pieces; of simulated hosts the status expected
///   request  opcode, length and pieces of what is sent, "-": nothing is; empty: whatever it is
///   printed  all of it; where "request" stands alone, without the line about the reply
///   result   of the call; 1 where nothing is sent, otherwise 0
///   json     what is made of the data
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
    std::string reply, request, printed, result, json;
};

uint8_t OsNamed(const std::string& name) {
    const std::string names[] = {"",    "windows", "linux", "solaris", "freebsd",
                                 "esx", "mac",     "",      "xen"};
    const auto* found = std::ranges::find(names, name);
    return static_cast<uint8_t>(found == std::end(names) ? Number(name) : found - names);
}

/// What a value between braces stands for; true where it is within its bounds.
std::vector<std::pair<std::string, bool>> AtBounds(const std::string& value) {
    const size_t begin = value.rfind(' ') + 1, slash = value.find_first_of("=/", begin);
    const size_t second = value.find('/', slash + 1);
    const bool has_bounds = slash != value.npos && value[slash] == '/' &&
                            std::isalpha(value[begin]) && !std::isalpha(value[slash + 1]);
    if (!has_bounds) return {{value, false}};
    const std::string key = value.substr(0, slash) + '=';
    const std::string least = value.substr(slash + 1, second - slash - 1);
    if (second == value.npos) {
        const std::string longest(std::stoul(least), 'x');
        return {{key + longest, true}, {key + longest + 'x', false}};
    }
    const int64_t lowest = least.empty() ? 0 : std::stoll(least);
    const int64_t highest = std::stoll(value.substr(second + 1));
    const auto with = [&](int64_t number) { return key + std::to_string(number); };
    return {{with(lowest), true},
            {with(highest), true},
            {with(highest + 1), false},
            {with(least.empty() ? highest + 1 : lowest - 1), false}};
}

std::vector<Case> CasesOf(const std::vector<std::string>& row) {
    const size_t open = row[1].find('{'), close = row[1].find('}');
    if (open == row[1].npos) {
        return {{row[0], Words(row[1]), row[2], row[3], row[4], row[5], row[6]}};
    }
    const auto words = [&](const std::string& text) {
        return Words(row[1].substr(0, open) + text + row[1].substr(close + 1));
    };
    std::vector<Case> cases;
    for (const std::string& value : Words(row[1].substr(open + 1, close - open - 1))) {
        for (const auto& [tried, within] : AtBounds(value)) {
            const size_t sign = row[3].find('%') == row[3].npos ? tried.npos : tried.rfind('=');
            const std::string text = tried.substr(0, sign), bytes = tried.substr(sign + 1);
            const std::string request = Replaced(row[3], "%", bytes);
            const std::string printed = Replaced(row[4], "%", text);
            cases.push_back(
                within ? Case{row[0], words(text), "", "", "", "", ""}
                       : Case{row[0], words(text), row[2], request, printed, row[5], row[6]});
        }
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

/// By agent OS.
using Exchanges = std::map<int, std::unique_ptr<Exchange>>;

void Keep(const Case& one, uint8_t os_type, const std::string& what, Exchanges* exchanges) {
    auto& exchange = (*exchanges)[os_type];
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
    EXPECT_EQ(exchange->opcode == 0, refused) << what;
    if (!request.empty() && !refused) {
        EXPECT_EQ(exchange->opcode, Number(request[0])) << what;
        EXPECT_TRUE(exchange->sent == Block(request, os_type)) << what << Shown(exchange->sent);
    }
    EXPECT_TRUE(exchange->opcode == 0 || session.message.status == exchange->reply.status) << what;
    if (one.json.empty() && (data.empty() || exchange->reply.status != kSuccess)) return;
    Result as_value(session, given.Get(), session.result.data());
    std::string json;
    EXPECT_TRUE(as_value.Render(ResultFormat::kJsonLine, &json) && nlohmann::json::accept(json))
        << what << json;
    EXPECT_TRUE(one.json.empty() || json == one.json + '\n') << what << json;
}

void KeepAll(const std::string& family) {
    std::unique_ptr<zmsim::ScenarioHost> host;
    Exchanges exchanges;
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
            for (const std::string& agent : agents) Keep(one, OsNamed(agent), what, &exchanges);
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

namespace {

/// What a host lists of its adapters and their ports.
Bytes ListedBy(zmsim::ScenarioHost& host, const zmsim::Scenario& scenario) {
    Bytes all = host.Answer(kKorvane, kListAdapterProps, {}).data;
    for (const zmsim::Adapter& adapter : scenario.adapters) {
        const auto place = FixedText(adapter.card.pci_bus_location);
        const Bytes ports =
            host.Answer(kKorvane, kListPorts, Bytes(place.begin(), place.end())).data;
        all.insert(all.end(), ports.begin(), ports.end());
    }
    return all;
}

/// What an attempt stands for: pieces and a status.
std::vector<std::pair<std::string, uint32_t>> Attempts(const std::string& text) {
    if (const size_t end = text.find('>'); end != text.npos) {
        return {{text.substr(0, end), static_cast<uint32_t>(Number(text.substr(end + 1)))}};
    }
    const size_t slash = text.find('/'), second = text.find('/', slash + 1);
    const auto with = [&](int64_t number) {
        std::string piece = text.substr(0, slash) + '=';
        for (int shift = 0; shift < 32; shift += 8) {
            char hex[3];
            std::snprintf(hex, sizeof(hex), "%02x", static_cast<unsigned>(number >> shift & 0xFF));
            piece += hex;
        }
        return piece;
    };
    const std::string least = text.substr(slash + 1, second - slash - 1);
    const int64_t most = std::stoll(text.substr(second + 1));
    const bool mask = least.empty();
    const int64_t below = mask ? 0 : std::stoll(least);
    return {
        {with(below - 1), mask ? 0 : 6}, {with(below), 0}, {with(most), 0}, {with(most + 1), 6}};
}

}  // namespace

/// A line of tests/contracts/judgements: an agent (as above; each attempt meets a new host, but
/// after "sim" and "+") | service, opcodes, length and pieces of a request | attempts: further
/// pieces, with commas between them, and after ">" the status. "offset/least/most" at the end
/// stands for four attempts at the bounds of a number, "offset//most" for those of a mask.
TEST(Contracts, OfTheSimulatedHost) {
    std::unique_ptr<zmsim::ScenarioHost> host;
    zmsim::Scenario scenario;
    for (const auto& row : Cases("../contracts/judgements")) {
        const auto agent = Words(row[0]), request = Words(row[1]);
        if (agent[0] != "+") scenario = BuiltinScenario(agent.back());
        if (agent[0] == "sim") host = std::make_unique<zmsim::ScenarioHost>(scenario);
        const bool kept = agent[0] == "sim" || agent[0] == "+";
        for (const std::string& opcode : Words(Replaced(request[1], ",", " "))) {
            for (const std::string& word : Words(row[2])) {
                for (const auto& [pieces, status] : Attempts(word)) {
                    std::vector<std::string> block(request.begin() + 1, request.end());
                    for (const auto& piece : Words(Replaced(pieces, ",", " ")))
                        block.push_back(piece);
                    if (!kept) host = std::make_unique<zmsim::ScenarioHost>(scenario);
                    const Bytes before = ListedBy(*host, scenario);
                    const std::string data = Block(block, 0);
                    EXPECT_EQ(host->Answer(static_cast<uint8_t>(Number(request[0])),
                                           static_cast<uint16_t>(Number(opcode)),
                                           Bytes(data.begin(), data.end()))
                                  .status,
                              status)
                        << row[1] << ' ' << pieces;
                    EXPECT_TRUE(status == 0 || ListedBy(*host, scenario) == before)
                        << row[1] << pieces;
                }
            }
        }
    }
}
