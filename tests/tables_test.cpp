/// What the tables of the library say, whole, against tests/listings.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <map>
#include <set>
#include <span>

#include "commands/list_kinds.h"
#include "commands/vocabulary.h"
#include "commands/vocabulary_words.h"
#include "filters/combinations.h"
#include "front_end/exit_status.h"
#include "session/compatibility.h"
#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;
using namespace std::string_literals;
using Zw = ZwMgmt_interface;

namespace {

/// Every word that stands for anything anywhere.
std::set<std::string> AllWords() {
    using namespace words;
    std::set<std::string> all;
    const auto add = [&](const auto&... tables) {
        const auto word_of = [&](const auto& row) { all.insert(row.word); };
        (std::ranges::for_each(tables, word_of), ...);
    };
    add(kServiceWords, kCommandWords, kIscsiSubCommands, kSystemSubCommands, kBridgeSubCommands,
        kVifSubCommands, kPifSubCommands, kNetSubCommands, kVswitchSubCommands, kIscsiKeys,
        kCredentialKeys, kPortGroupSubCommands, kNetworkingKeys, kAdapterKeys, kSystemKeys,
        kFilterKeys, kTmschedKeys, kTmKeys, kFcoeKeys, kLogKeys, kIwarpKeys, kDiagsKeys,
        kHypervKeys, kFoiscsiCommands, kFoiscsiSubCommands, kFoiscsiKeys, kBypassCommands,
        kBypassKeys, kMsteamCommands, kMsteamKeys, kBondingCommands, kBondingKeys);
    return all;
}

/// "word=number" of each word that the look-up knows; "!" where it must be written exactly so.
template <class LookUp>
std::string Known(const LookUp& number_of) {
    static const auto all = AllWords();
    std::string text;
    for (std::string word : all) {
        const auto number = static_cast<int64_t>(number_of(word.c_str()));
        if (number == -1) continue;
        text += "    " + word + '=' + std::to_string(number);
        for (char& letter : word) letter = static_cast<char>(std::toupper(letter));
        text += static_cast<int64_t>(number_of(word.c_str())) == number ? "\n" : "!\n";
    }
    return text;
}

std::string Title(const std::string& what, int number, int further = 0) {
    return what + ' ' + std::to_string(number) + (further ? ' ' + std::to_string(further) : "") +
           '\n';
}

}  // namespace

TEST(Tables, WordsHaveTheirNumbers) {
    std::string text = "services\n" + Known(Zw::CLGetService);
    for (int number = 0; number <= 21; ++number) {
        const auto service = static_cast<uint8_t>(number);
        std::string last;
        text += Title("commands of service", service);
        text += Known([&](const char* word) { return Zw::CLGetCommand(word, service); });
        text += Title("keys of service", service);
        text += Known([&](const char* word) { return Zw::CLGetKeyNo(word, service); });
        for (uint16_t command = 0; command < kFirstUnusedCommand; ++command) {
            const std::string sub_commands = Known(
                [&](const char* word) { return Zw::CLGetSubCommand(word, service, command); });
            if (sub_commands != last)
                text += Title("sub-commands from", service, command) + sub_commands;
            last = sub_commands;
        }
    }
    for (const uint16_t command : {kVswitch, kVswif, kPortGroup, kBridge, kVif, kPif, kSetMtu}) {
        for (const auto look_up : {Zw::CLGetXENNETCmnd, Zw::CLGetESXNETCmnd}) {
            text += Title(look_up == Zw::CLGetXENNETCmnd ? "Xen's" : "ESX's", command);
            text += Known([&](const char* word) {
                Client_Request_Argument argument = {word, -1};
                const Client_Request_Message request = {kNet, command, 0, &argument, 1};
                return look_up(&request);
            });
        }
    }
    for (int i = 0; const char* word = FoiscsiAddressTypeWord(i); ++i) text += Title(word, i);
    for (int i = 1; const char* word = FoiscsiOperationWord(i); ++i) text += Title(word, i);
    ExpectListing("words.txt", text);
    for (const auto look_up : {Zw::CLGetCommand, Zw::CLGetKeyNo})
        EXPECT_EQ(look_up(nullptr, 5), -1);
    EXPECT_EQ(Zw::CLGetService(nullptr), -1);
    EXPECT_EQ(Zw::CLGetService("iscsi "), -1);
    const Client_Request_Message empty = {kNet, kBridge, 0, nullptr, 0};
    EXPECT_EQ(Zw::CLGetXENNETCmnd(&empty), UINT64_MAX);
}

TEST(Tables, StatusesHaveTheirTextsAndExitStatuses) {
    std::string text = "status, exit status as a result and of an agent, text\n", last;
    for (uint32_t status = 0; status < 500; ++status) {
        std::string said;
        for (const int exit :
             {int{zwcli::ExitStatusOf(status, 0)}, int{zwcli::ExitStatusOf(0, status)}}) {
            said += ' ' + std::to_string(exit);
        }
        said += std::string(" ") + StatusText(status) + '\n';
        if (said != last) text += std::to_string(status) + said;
        last = said;
    }
    ExpectListing("statuses.txt", text);
}

TEST(Tables, ListsHaveTheirSizes) {
    std::string text = "command, node size, inner lists, their node size\n";
    for (uint16_t command = 0; command <= kFirstUnusedCommand; ++command) {
        const auto kind = FindListKind(command);
        if (!kind) continue;
        for (const uint32_t n : {uint32_t{command}, kind->node_size, uint32_t{kind->inner_lists}}) {
            text += std::to_string(n) + ' ';
        }
        text += std::to_string(kind->inner_node_size) + '\n';
    }
    ExpectListing("list_kinds.txt", text);
}

TEST(Tables, DriverTypesFollowOsAndGeneration) {
    std::string text = "agent: types by generation from -1 to 3\n";
    for (int os_type = 0; os_type <= 9; ++os_type) {
        const TestSession& session = SessionOf(os_type);
        text += std::to_string(os_type) + ':';
        for (int generation = -1; generation <= 3; ++generation) {
            uint32_t types = 0;
            for (uint32_t bit = 1; bit != 0; bit <<= 1) {
                if (session.CLIsValidOSDrvType(bit, generation) == 0) types |= bit;
            }
            EXPECT_EQ(session.CLIsValidOSDrvType(types, generation), 0);
            char hex[16];
            std::snprintf(hex, sizeof(hex), " %x", types);
            text += hex;
        }
        text += '\n';
    }
    ExpectListing("driver_types.txt", text);
}

TEST(Tables, ServicesFollowVersionAndOs) {
    TestSession session;
    std::string text, newest;
    for (const int version : {0x20, 0x15}) {
        for (int service = 0; service <= 21; ++service) {
            for (const int network : {1, 0}) {
                std::map<std::string, std::string> systems;  // by what is said
                for (uint8_t os_type = 0; os_type <= 9; ++os_type) {
                    Capabilities agent = {};
                    agent.api_version = static_cast<uint8_t>(version);
                    agent.os_code = os_type;
                    agent.network = static_cast<uint16_t>(network);
                    for (const uint16_t command : {kSetMtu, kVswitch, kVswif}) {
                        if (command != kSetMtu && service != kNet) continue;
                        const int result = session.Validate_Server_APIVersion_Capabilities(
                            &agent, static_cast<uint8_t>(service), command);
                        std::string said = session.Printed() + session.ErrorText();
                        if (said.empty()) said = "\n";
                        if (said.back() != '\n') said += "(no line end)\n";
                        said = std::to_string(result) + ' ' + said;
                        if (service == kNet) said = std::to_string(command) + ' ' + said;
                        systems[said] += std::to_string(os_type);
                    }
                }
                if (service != kNet && network == 0) continue;
                text += Title(version == 0x20 ? "this version" : "another", service, network);
                for (const auto& [said, of] : systems) text += "    " + of + ' ' + said;
            }
        }
    }
    Capabilities odd = {}, offload = {};
    std::memset(&odd, 1, sizeof(odd));  // every word 0x0101
    offload.iscsi = 0x81;               // the initiator with full offload
    for (uint8_t service = 0; service <= 21; ++service) {
        text += Title("newest", service, session.MinimumServerVersion(service));
        for (const Capabilities& capabilities : {Capabilities{}, odd, offload}) {
            char refusal[300];
            NewestRefusal(capabilities, service, refusal, sizeof(refusal));
            text += "    "s + refusal + (*refusal ? "" : "\n");
        }
    }
    ExpectListing("services.txt", text);
    Capabilities unknown = {};
    unknown.os_code = 7;
    EXPECT_EQ(Zw::GetLatestServerCapabilities(&unknown), -1);
}

TEST(Tables, EachSystemHasItsNewestCapabilities) {
    void (*const fillers[])(Capabilities*) = {
        Zw::GetLatestWindowsCapabilities, Zw::GetLatestLinuxCapabilities,
        Zw::GetLatestSolarisCapabilities, Zw::GetLatestFBSDCapabilities,
        Zw::GetLatestESXCapabilities,     Zw::GetLatestMacCapabilities,
        Zw::GetLatestXENCapabilities};
    const uint8_t systems[] = {kWindows, kLinux, kSolaris, kFreeBsd, kEsx, kMac, kXen};
    for (size_t i = 0; i < std::size(systems); ++i) {
        Capabilities filled = {}, newest = {};
        filled.os_code = newest.os_code = systems[i];
        fillers[i](&filled);
        EXPECT_EQ(Zw::GetLatestServerCapabilities(&newest), 0);
        EXPECT_EQ(std::memcmp(&filled, &newest, sizeof(newest)), 0) << +systems[i];
    }
}

TEST(Tables, SimulatedHostsOfferWhatTheirOsCanHave) {
    std::string text = "interface version, OS code, words from network to bonding\n";
    for (const zmsim::BuiltinScenario& builtin : zmsim::kBuiltinScenarios) {
        const Capabilities capabilities = BuiltinScenario(builtin.os).capabilities;
        text += builtin.os;
        for (const uint8_t byte :
             std::bit_cast<std::array<uint8_t, sizeof(capabilities)>>(capabilities)) {
            text += ' ' + std::to_string(byte);
        }
        text += '\n';
    }
    ExpectListing("offers.txt", text);
}

TEST(Tables, CombinationsAreComparedWhole) {
    for (const std::string_view row : FilterCombinations()) {
        const std::string combination(row);
        const size_t comma = combination.find(", ");
        EXPECT_TRUE(IsFilterCombination(combination));
        EXPECT_FALSE(IsFilterCombination(combination + " "));
        EXPECT_FALSE(IsFilterCombination(combination.substr(1)));
        EXPECT_FALSE(IsFilterCombination(combination.substr(comma + 2) + ", " +
                                         combination.substr(0, comma)));
    }
    EXPECT_FALSE(IsFilterCombination("Ethertype, vlan, port"));
    const ProcessResult run = Zwcli(1, {"filter", "showcomb"});  // nobody is asked
    EXPECT_EQ(run.err, "");
    ExpectListing("combinations.txt", run.out);
}
