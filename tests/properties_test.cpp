/// Setting properties: every key of every agent OS with the bytes it becomes. The two tables of
/// keys were written down apart from the tables of the code.
#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "tests/support.h"

using namespace testing_support;
using namespace zwmgmt;

namespace {

using Builder = int (ZwMgmt_interface::*)(Client_Request_Message*, _Message*);
constexpr Builder kCard = &ZwMgmt_interface::CLSetKorvaneCardProp;
constexpr Builder kPort = &ZwMgmt_interface::CLSetKorvanePortProp;

constexpr int kPci = 25;
constexpr int kInstance = 72;

/// A session that has learnt this OS from an agent; the agent is gone.
TestSession& SessionOf(uint8_t os_type) {
    static std::map<uint8_t, std::unique_ptr<TestSession>> sessions;
    auto& session = sessions[os_type];
    if (!session) {
        CannedHost host([](auto...) { return zmsim::Reply{}; }, os_type);
        TestAgent agent(host);
        session = std::make_unique<TestSession>();
        EXPECT_EQ(session->Connect(agent.Port()), kSuccess);
    }
    return *session;
}

using Keys = std::vector<std::pair<int, const char*>>;

struct Outcome {
    int result;
    Bytes payload;
    std::string printed;
};

Outcome Build(Builder builder, uint8_t os_type, const Keys& keys) {
    std::vector<Client_Request_Argument> arguments = {{"", -1}};
    for (const auto& [key, value] : keys) arguments.push_back({value, key});
    Client_Request_Message request = {kKorvane, 0, 0, arguments.data(),
                                      static_cast<uint32_t>(arguments.size())};
    _Message message = {};
    TestSession& session = SessionOf(os_type);
    Outcome outcome;
    outcome.result = (session.*builder)(&request, &message);
    const auto* data = static_cast<const uint8_t*>(message.data);
    if (data != nullptr) outcome.payload.assign(data, data + message.data_length);
    std::free(message.data);
    outcome.printed = session.Printed();
    return outcome;
}

struct Row {
    int os_type;
    int key;
    const char* value;
    size_t offset;
    std::string_view bytes;
    uint32_t mask;
};

/// A text of a row with its NULs.
#define B(bytes) std::string_view(bytes, sizeof(bytes) - 1)

// clang-format off
const Row kCardRows[] = {
    {1, 27, "512", 21, B("512\x00\x00\x00\x00\x00"), 0x1}, {1, 28, "12345678", 29, B("12345678"), 0x2},
    {1, 29, "123456789012", 37, B("12345678"), 0x4}, {1, 30, "1024", 45, B("1024\x00\x00\x00\x00"), 0x8},
    {1, 31, "9876543210", 53, B("98765432"), 0x10}, {1, 137, "0", 61, B("0\x00\x00\x00\x00\x00\x00\x00"), 0x1},
    {2, 32, "123456789012", 69, B("\x14\x1a\x99\xbe\x1c\x00\x00\x00"), 0x4}, {3, 33, "-5", 77, B("\xfb\xff\xff\xff\xff\xff\xff\xff"), 0x8},
    {8, 34, "4660", 85, B("\x34\x12"), 0x10}, {2, 35, "-2", 85, B("\xfe\xff"), 0x800000},
    {3, 36, "-9876543210", 87, B("\x16\xe9\x4f\xb3\xfd\xff\xff\xff"), 0x20}, {8, 37, "3", 95, B("\x03"), 0x40},
    {2, 38, "-1460", 96, B("\x4c\xfa\xff\xff"), 0x80}, {3, 39, "-1", 100, B("\xff"), 0x100},
    {8, 40, "65536", 101, B("\x00\x00\x01\x00\x00\x00\x00\x00"), 0x200}, {2, 41, "100", 109, B("\x64"), 0x400}, {3, 42, "2", 110, B("\x02"), 0x800},
    {8, 120, "1", 111, B("\x01\x00\x00\x00\x00\x00\x00\x00"), 0x200000},
    {2, 43, "9223372036854775807", 119, B("\xff\xff\xff\xff\xff\xff\xff\x7f"), 0x1000}, {3, 44, "60", 193, B("\x3c"), 0x2000},
    {8, 45, "1", 135, B("\x01\x00\x00\x00\x00\x00\x00\x00"), 0x4000}, {2, 46, "0", 143, B("\x00\x00\x00\x00\x00\x00\x00\x00"), 0x8000},
    {3, 47, "40960", 151, B("\x00\xa0\x00\x00\x00\x00\x00\x00"), 0x10000},
    {8, 48, "-4294967297", 159, B("\xff\xff\xff\xff\xfe\xff\xff\xff"), 0x20000},
    {2, 49, "81985529216486895", 167, B("\xef\xcd\xab\x89\x67\x45\x23\x01"), 0x40000},
    {3, 51, "1536", 175, B("\x00\x06\x00\x00\x00\x00\x00\x00"), 0x80000}, {8, 50, "1", 183, B("\x01\x00\x00\x00\x00\x00\x00\x00"), 0x100000},
    {2, 52, "5", 191, B("\x05"), 0x2}, {3, 53, "-7", 192, B("\xf9"), 0x400000}, {8, 526, "2", 194, B("\x02"), 0x1000000},
    {4, 32, "-262144", 69, B("\x00\x00\xfc\xff\xff\xff\xff\xff"), 0x4}, {4, 42, "4", 110, B("\x04"), 0x800},
    {4, 43, "14336", 119, B("\x00\x38\x00\x00\x00\x00\x00\x00"), 0x1000}, {4, 52, "6", 191, B("\x06"), 0x2},
    {4, 365, "1311768467463790320", 196, B("\xf0\xde\xbc\x9a\x78\x56\x34\x12"), 0x8}, {6, 140, "-3", 195, B("\xfd"), 0x1},
};

const Row kPortRows[] = {
    {2, 2, "auto", 155, B("\x01\x00\x00\x00"), 0x2}, {3, 2, "1000-Full", 155, B("\x00\xe8\x03\x01"), 0x2},
    {5, 2, "100-half", 155, B("\x00\x64\x00\x00"), 0x2}, {6, 2, "-half", 155, B("\x00\x00\x00\x00"), 0x2},
    {8, 2, "AUTO", 155, B("\x01\x00\x00\x00"), 0x2}, {2, 2, "10000-full", 155, B("\x00\x10\x27\x01"), 0x2},
    {3, 2, "10-Half", 155, B("\x00\x0a\x00\x00"), 0x2}, {5, 2, "-Full", 155, B("\x00\x00\x00\x01"), 0x2}, {6, 54, "1", 37, B("1\x00"), 0x800},
    {8, 55, "0", 39, B("0\x00"), 0x1000}, {2, 57, "12", 41, B("12"), 0x100000}, {3, 62, "2", 43, B("2\x00"), 0x40},
    {5, 63, "3", 45, B("3\x00"), 0x20}, {6, 65, "07", 196, B("07"), 0x100}, {8, 71, "0x5dc", 29, B("1500\x00\x00\x00\x00"), 0x4},
    {2, 150, "021450", 29, B("9000\x00\x00\x00\x00"), 0x4}, {3, 125, "0x1f", 146, B("\x1f"), 0x200000},
    {5, 126, "0x12345678", 147, B("\x78\x56\x34\x12"), 0x400000}, {6, 127, "0251", 151, B("\xa9\x00\x00\x00"), 0x800000},
    {8, 131, "auto", 159, B("\x3f\x00\x00\x00"), 0x2000000}, {2, 131, "100baseT/Full|1000baseT/Full", 159, B("\x28\x00\x00\x00"), 0x2000000},
    {3, 131, "10BASET/FULL|100baset/half|1000BaseT/Half", 159, B("\x16\x00\x00\x00"), 0x2000000},
    {5, 131, "10baset/half|10000baset/full", 159, B("\x01\x10\x00\x00"), 0x2000000},
    {6, 131, "10000baseT/Full", 159, B("\x00\x10\x00\x00"), 0x2000000}, {8, 131, "AUTO|10000baseT/Full", 159, B("\x3f\x10\x00\x00"), 0x2000000},
    {2, 132, "1024", 163, B("\x00\x04\x00\x00"), 0x4000000}, {3, 133, "0x12345", 167, B("\x45\x23\x00\x00"), 0x8000000},
    {5, 134, "0177", 171, B("\x7f\x00\x00\x00"), 0x10000000}, {6, 135, "65535", 175, B("\xff\xff\x00\x00"), 0x20000000},
    {8, 136, "0x1", 179, B("\x01"), 0x1000000}, {2, 139, "1", 0, B(""), 0x80000000}, {3, 140, "017", 145, B("\x0f"), 0x400},
    {5, 338, "250", 137, B("\xfa"), 0x80}, {6, 339, "1", 138, B("\x01"), 0x200}, {8, 336, "01", 139, B("\x01"), 0x20},
    {2, 337, "0x1", 140, B("\x01"), 0x40}, {3, 332, "5", 141, B("\x05"), 0x400}, {5, 333, "03", 142, B("\x03"), 0x8},
    {6, 335, "1", 143, B("\x01"), 0x10}, {8, 334, "0x01", 144, B("\x01"), 0x2}, {1, 2, "Auto", 155, B("\x01\x00\x00\x00"), 0x2},
    {1, 2, "1000-Full", 155, B("\x00\xe8\x03\x01"), 0x2}, {1, 2, "100-half", 155, B("\x00\x64\x00\x00"), 0x2},
    {1, 2, "-half", 155, B("\x00\x00\x00\x00"), 0x2}, {1, 54, "3", 37, B("3\x00"), 0x800}, {1, 55, "2", 39, B("2\x00"), 0x1000},
    {1, 62, "1", 43, B("1\x00"), 0x40}, {1, 63, "0", 45, B("0\x00"), 0x20}, {1, 65, "1", 196, B("1\x00"), 0x100},
    {1, 71, "0x5dc", 29, B("0x5dc\x00\x00\x00"), 0x4}, {1, 56, "1", 184, B("1\x00"), 0x400}, {1, 58, "0", 186, B("0\x00"), 0x1},
    {1, 59, "2", 188, B("2\x00"), 0x80}, {1, 60, "3", 190, B("3\x00"), 0x8}, {1, 61, "16", 194, B("16"), 0x10}, {1, 66, "4", 198, B("4\x00"), 0x200},
    {1, 67, "5", 200, B("5\x00"), 0x2000}, {1, 68, "4095", 202, B("4095\x00\x00\x00\x00"), 0x4000}, {1, 69, "6", 210, B("6\x00"), 0x8000},
    {1, 70, "7", 212, B("7\x00"), 0x10000}, {1, 242, "1", 53, B("1\x00"), 0x8}, {1, 243, "2", 55, B("2\x00"), 0x10},
    {1, 244, "3", 49, B("3\x00"), 0x20}, {1, 245, "0", 51, B("0\x00"), 0x40}, {1, 246, "4", 57, B("4\x00"), 0x80},
    {1, 247, "5", 59, B("5\x00"), 0x100}, {1, 248, "6", 61, B("6\x00"), 0x400}, {1, 249, "7", 63, B("7\x00"), 0x800},
    {1, 250, "8", 65, B("8\x00"), 0x1000}, {1, 251, "9", 67, B("9\x00"), 0x2000}, {1, 252, "10", 69, B("10"), 0x8000},
    {1, 258, "54321", 71, B("5432"), 0x80000}, {1, 256, "1234567890", 75, B("12345678"), 0x20000}, {1, 257, "87654321", 83, B("87654321"), 0x40000},
    {1, 254, "2048", 91, B("2048\x00\x00\x00\x00"), 0x10000}, {1, 436, "123456789", 99, B("12345678"), 0x100000},
    {1, 415, "1", 107, B("1\x00"), 0x200000}, {1, 432, "32", 109, B("32"), 0x8000000}, {1, 433, "2", 111, B("2\x00"), 0x800000},
    {1, 437, "3", 113, B("3\x00"), 0x400000}, {1, 438, "4", 115, B("4\x00"), 0x1000000}, {1, 439, "5", 117, B("5\x00"), 0x2000000},
    {1, 440, "9014", 119, B("9014\x00\x00\x00\x00"), 0x4000000}, {1, 441, "11", 127, B("11"), 0x10000000},
    {4, 150, "0x2328", 29, B("9000\x00\x00\x00\x00"), 0x4}, {4, 54, "1", 37, B("1\x00"), 0x800}, {4, 55, "21", 39, B("21"), 0x1000},
    {4, 140, "0x11", 145, B("\x11"), 0x400}, {4, 332, "300", 224, B("\x2c\x01"), 0x8}, {4, 333, "0x1234", 226, B("\x34\x12"), 0x10},
    {4, 366, "02000", 232, B("\x00\x04"), 0x200}, {4, 367, "65534", 238, B("\xfe\xff"), 0x20000},
};
// clang-format on

/// The OS types that share a table; a row names one of them.
using Groups = std::vector<std::vector<int>>;
const Groups kCardGroups = {{1}, {2, 3, 8}, {4}, {6}};
const Groups kPortGroups = {{1}, {2, 3, 5, 6, 8}, {4}};

const std::vector<int>& GroupOf(const Groups& groups, int os_type) {
    return *std::ranges::find_if(groups, [&](const auto& group) {
        return std::ranges::find(group, os_type) != group.end();
    });
}

void ExpectPayloads(Builder builder, std::span<const Row> rows, const Groups& groups,
                    const Keys& address, Bytes expected) {
    std::map<int, std::set<int>> known;
    for (const Row& row : rows) {
        Keys keys = address;
        keys.insert(keys.begin(), {row.key, row.value});
        for (const int os_type : GroupOf(groups, row.os_type)) {
            known[os_type].insert(row.key);
            const Outcome outcome = Build(builder, static_cast<uint8_t>(os_type), keys);
            EXPECT_EQ(outcome.result, 0) << os_type << ' ' << row.key << outcome.printed;
            Bytes payload = expected;
            payload[0] = static_cast<uint8_t>(os_type);
            std::memcpy(payload.data() + 1, &row.mask, sizeof(row.mask));
            std::memcpy(payload.data() + row.offset, row.bytes.data(), row.bytes.size());
            EXPECT_EQ(outcome.payload, payload) << os_type << ' ' << row.key;
        }
    }
    for (const auto& [os_type, keys] : known) {
        for (int key = 0; key < 600; ++key) {
            if (key == kPci || (builder == kPort && key == kInstance)) continue;
            const Outcome outcome = Build(builder, static_cast<uint8_t>(os_type), {{key, "1"}});
            const bool unknown = outcome.printed.find("are not supported") != std::string::npos;
            EXPECT_EQ(unknown, !keys.contains(key)) << os_type << ' ' << key;
        }
    }
}

}  // namespace

TEST(SetCardProperty, EveryKeyBecomesItsBytes) {
    Bytes expected(231);
    std::memcpy(expected.data() + 5, "0123456789abcdef", 16);
    ExpectPayloads(kCard, kCardRows, kCardGroups, {{kPci, "0123456789abcdefX"}}, expected);
}

TEST(SetPortProperty, EveryKeyBecomesItsBytes) {
    Bytes expected(240);
    std::memcpy(expected.data() + 9, "0000:05:00.4", 12);
    expected[25] = 0x11;
    ExpectPayloads(kPort, kPortRows, kPortGroups, {{kPci, "0000:05:00.4"}, {kInstance, "0x11"}},
                   expected);
}

TEST(SetPortProperty, SeveralKeysShareOneRequest) {
    const Outcome outcome =
        Build(kPort, kLinux, {{kPci, "1"}, {150, "9000"}, {140, "1"}, {150, "0x5dc"}, {72, "1"}});
    ASSERT_EQ(outcome.payload.size(), 240u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&outcome.payload[29]), 8),
              std::string("1500\0\0\0\0", 8));
    EXPECT_EQ(outcome.payload[145], 1);
    EXPECT_EQ(outcome.payload[1], 4);
    EXPECT_EQ(outcome.payload[2], 4);
}

TEST(SetCardProperty, RefusalsHaveTheirTexts) {
    const char* no_location = "please specify PCIBuslocation for the card\n";
    const char* invalid = "Invalid value specified\n";
    const char* unknown = "One or more specified parameters are not supported\n";
    // clang-format off
    const Table<uint8_t, Keys, std::string> rows = {
        {2, {}, no_location}, {2, {{38, "1"}}, no_location}, {2, {{kPci, "1"}}, "Please specify atleast one property to be set\n"},
        {2, {{kPci, "1"}, {38, "-"}}, invalid}, {2, {{kPci, "1"}, {38, "1x"}}, invalid}, {2, {{kPci, "1"}, {38, "--1"}}, invalid},
        {2, {{kPci, "1"}, {38, ""}}, invalid}, {2, {{kPci, "1"}, {38, nullptr}}, invalid}, {2, {{kPci, "1"}, {38, "0x10"}}, invalid},
        {1, {{kPci, "1"}, {27, "-5"}}, invalid},
        // What a field cannot hold would be set to something else.
        {2, {{kPci, "1"}, {34, "65536"}}, invalid}, {2, {{kPci, "1"}, {37, "-129"}}, invalid}, {2, {{kPci, "1"}, {37, "128"}}, invalid}, {8, {{kPci, "1"}, {34, "32768"}}, invalid}, {2, {{kPci, "1"}, {38, "4294967296"}}, invalid},
        {2, {{kPci, "1"}, {32, "9223372036854775808"}}, invalid},
        {2, {{kPci, "1"}, {120, "2"}}, "the value may be either 0 or 1\n"}, {3, {{kPci, "1"}, {50, "-1"}}, "the value may be either 0 or 1\n"},
        {8, {{kPci, "1"}, {526, "3"}}, "The value may be either 1 or 2\n"}, {8, {{kPci, "1"}, {526, "0"}}, "The value may be either 1 or 2\n"},
        {2, {{kPci, "1"}, {27, "1"}}, unknown}, {6, {{kPci, "1"}, {38, "1"}}, unknown},
        {1, {{kPci, "1"}, {38, "1"}}, std::string("line num 1903\n") + unknown},
        {4, {{kPci, "1"}, {38, "1"}}, "One or more specified parameters are not supported or are settable\n"},
        {5, {{kPci, "1"}, {38, "1"}}, no_location}, {7, {{kPci, "1"}, {38, "1"}}, no_location}, {0, {{kPci, "1"}}, no_location},
    };
    // clang-format on
    for (const auto& [os_type, keys, printed] : rows) {
        const Outcome outcome = Build(kCard, os_type, keys);
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.printed, printed);
        EXPECT_TRUE(outcome.payload.empty());
    }
    EXPECT_EQ(Build(kCard, kLinux, {{kPci, "1"}, {526, "257"}}).result, 0) << "the low byte counts";
}

TEST(SetPortProperty, RefusalsHaveTheirTexts) {
    const char* no_instance = "please specify portinstance\n";
    const char* invalid = "Invalid value specified\n";
    const std::string unknown = "One or more specified parameters are not supported\n";
    const std::string traced = "line num 2686\n" + unknown;
    // clang-format off
    const Table<uint8_t, Keys, std::string> rows = {
        {2, {}, no_instance}, {2, {{kPci, "1"}, {140, "1"}}, no_instance}, {2, {{kInstance, "0"}, {140, "1"}}, "please specify pci bus location\n"},
        {2, {{kPci, "1"}, {kInstance, "0"}}, "Please specify atleast one property to be set or you might be specifying the wrong parameters for the target platform\n"},
        {7, {{kPci, "1"}, {kInstance, "0"}, {140, "1"}}, no_instance}, {9, {{kPci, "1"}, {kInstance, "0"}}, no_instance},
        {2, {{140, "1x"}}, invalid}, {2, {{140, "-1"}}, invalid}, {2, {{140, ""}}, invalid}, {2, {{140, nullptr}}, invalid},
        {2, {{126, "2147483648"}}, invalid}, {2, {{126, "99999999999999999999"}}, invalid}, {2, {{140, "08"}}, invalid},
        {2, {{140, "256"}}, invalid}, {4, {{366, "65536"}}, invalid}, {2, {{150, "100000000"}}, invalid},
        {2, {{54, "on"}}, invalid}, {1, {{440, "jumbo"}}, invalid}, {2, {{kInstance, "one"}}, invalid},
        {2, {{338, "0"}}, "coalesce value must be between 1-250\n"}, {2, {{338, "251"}}, "coalesce value must be between 1-250\n"},
        {3, {{339, "2"}}, "hw_lso value must be  0 or 1\n"}, {3, {{336, "2"}}, "rx_pause value must be 0 or 1\n"},
        {3, {{337, "2"}}, "tx_pause value must be 0 or 1\n"}, {3, {{332, "6"}}, "holdoff_timer_idx value must be between  0-5\n"},
        {3, {{333, "4"}}, "holdoff_pktc_idx value must be between 0-3\n"}, {3, {{335, "2"}}, "hw-csum value must be  0 or 1\n"},
        {3, {{334, "2"}}, "accept-jumbo value must be 0 or 1\n"}, {2, {{139, "0"}}, "Invalid resetautoneg value\n"},
        {2, {{440, "9014"}}, traced}, {1, {{150, "9000"}}, unknown}, {1, {{151, "1"}}, unknown}, {1, {{131, "nonsense"}}, unknown},
        {4, {{2, "nonsense"}}, "One or more specified parameters are not supported or are not settable\n"},
        {2, {{2, "1000"}}, invalid}, {2, {{2, "10x-Full"}}, "Invalid speed value\n"}, {2, {{2, "65536-Full"}}, "Invalid speed value\n"},
        {2, {{2, "1000-"}}, "Invalid speedduplex value\n"}, {2, {{2, "1000-FULL"}}, "Invalid duplex value\n"}, {2, {{2, "1000-Full "}}, "Invalid duplex value\n"},
        {2, {{131, ""}}, "Invalid Advertise value\n"}, {2, {{131, "auto|"}}, "Invalid Advertise value\n"}, {2, {{131, "|auto"}}, "Invalid Advertise value\n"},
        {2, {{131, "auto||auto"}}, "Invalid Advertise value\n"}, {2, {{131, "10000baset/half"}}, "Invalid Advertise value\n"},
    };
    // clang-format on
    for (const auto& [os_type, keys, printed] : rows) {
        const Outcome outcome = Build(kPort, os_type, keys);
        EXPECT_EQ(outcome.result, 1) << printed;
        EXPECT_EQ(outcome.printed, printed);
        EXPECT_TRUE(outcome.payload.empty());
    }
    for (const char* boundary : {"1", "250"}) {
        EXPECT_EQ(Build(kPort, kLinux, {{kPci, "1"}, {kInstance, "0"}, {338, boundary}}).result, 0);
    }
    EXPECT_EQ(Build(kPort, kFreeBsd, {{kPci, "1"}, {kInstance, "0"}, {332, "6"}}).result, 0);
}

TEST(SetProperty, WhatTheAgentLacksIsAFailure) {
    // Bits are shared: these keys set one that agents of this OS read otherwise.
    const Table<const char*, const char*, const char*> rows = {
        {"linux", "0000:03:00.0", "rx_pause=1"},
        {"linux", "0000:03:00.0", "holdoff_tmr_idx=3"},
        {"xen", "0000:03:00.0", "accept-jumbo=1"},
        {"solaris", "pci/3,0", "tso=1"},
        {"windows", "3:0:0", "lsoipv4=1"}};
    for (const auto& [os, location, setting] : rows) {
        zmsim::ScenarioHost host(BuiltinScenario(os));
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        const std::string pci = std::string("pci=") + location;
        const std::vector<const char*> list = {"korvane", "listports", pci.c_str()};
        EXPECT_EQ(session.Run(list), 0);
        const std::string before = session.Printed();
        EXPECT_EQ(session.Run({"korvane", "setportproperty", pci.c_str(), "port=0", setting}), 0);
        EXPECT_EQ(session.Printed(), "Command Failed\n") << os << setting;
        EXPECT_EQ(session.Run(list), 0);
        EXPECT_EQ(session.Printed(), before);
    }
}

TEST(SetProperty, WhatIsSetIsListed) {
    // clang-format off
    const Table<const char*, std::vector<const char*>, const char*, const char*> rows = {
        {"linux", {"setcardproperty", "pci=0000:05:00.4", "mss=1460"}, "", "mss                           : 1460\n"},
        {"mac", {"setportproperty", "port=0", "tso=0"}, "@", "TCP Segmentation offload   : Disabled\n"},
        {"windows", {"setcardproperty", "pci=5:0:4", "maxvmqueues=17"}, "", "MaxVMQueues\t\t      : 17\n"},
        {"windows", {"setcardproperty", "pci=3:0:0", "jumboqsize=17"}, "", "qsflJumboQSize                : 17\n"},
        {"windows", {"setportproperty", "port=0", "jumbopacket=9014"}, "5:0:4", "JumboPacket                : 9014\n"},
        {"windows", {"setportproperty", "port=1", "ndisfunc=2"}, "3:0:0", "NDIS function              : Offload mode\n"},
        {"linux", {"setportproperty", "port=1", "advertise=auto", "speedduplex=100-half"}, "0000:03:00.0", "100 Mb/s\nPort Duplex                : Half\n"},
        {"solaris", {"setportproperty", "port=0", "holdoff_pktc_idx=0", "rx_pause=0", "mtu=9000"}, "pci/5,0,4", "rx_pause\t\t\t:0\n"},
        {"solaris", {"setportproperty", "port=0", "lso=0", "accept-jumbo=1"}, "pci/3,0", "accept-jumbo\t\t\t:1\n"},
        {"freebsd", {"setportproperty", "port=0", "qsize_txq=77"}, "@", "qsize_txq\t\t   : 77\n"},
        {"xen", {"setportproperty", "port=0", "ringtx=99"}, "@", "Ring_tx                    : 99\n"},
        {"windows", {"setportproperty", "port=0", "rss=0"}, "5:0:4", "Receive Side Scaling(RSS)  : Disabled\n"},
        {"windows", {"setportproperty", "port=0", "vlanid=77"}, "5:0:4", "VLAN ID                    : 77\n"},
        {"esx", {"setportproperty", "port=0", "gso=0"}, "@", "Generic Segmentation offload         : Disabled\n"},
    };
    // clang-format on
    for (const auto& [os, words, place, line] : rows) {
        const zmsim::Scenario scenario = BuiltinScenario(os);
        zmsim::ScenarioHost host(scenario);
        TestAgent agent(host);
        TestSession session;
        ASSERT_EQ(session.Connect(agent.Port()), kSuccess);
        const std::string last(FixedText(scenario.adapters.back().card.pci_bus_location));
        const std::string pci = "pci=" + (place == std::string("@") ? last : place);
        const bool port = place[0] != '\0';
        std::vector<const char*> list = {"korvane", "listadapterprops"};
        if (port) list = {"korvane", "listports", pci.c_str()};
        std::vector<const char*> set = {"korvane"};
        set.insert(set.end(), words.begin(), words.end());
        if (port) set.push_back(pci.c_str());

        EXPECT_EQ(session.Run(list), 0);
        EXPECT_EQ(session.Printed().find(line), std::string::npos) << os << line;
        EXPECT_EQ(session.Run(set), 0);
        EXPECT_EQ(session.Printed(), "Command completed successfully.\n");
        EXPECT_EQ(session.Run(list), 0);
        EXPECT_NE(session.Printed().find(line), std::string::npos) << os << line;

        EXPECT_EQ(session.Run({"korvane", "setportproperty", "pci=nowhere", "port=0", "tso=1"}),
                  os == std::string("windows") ? 1 : 0);
        EXPECT_NE(session.Printed(), "Command completed successfully.\n");
    }
}
